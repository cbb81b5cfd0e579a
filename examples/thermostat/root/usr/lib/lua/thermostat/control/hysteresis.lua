-- Switches the heating on below and off above the target.

local hysteresis = {}
hysteresis.__index = hysteresis

function hysteresis.new(width)
    return setmetatable({ width = width, on = false }, hysteresis)
end

function hysteresis:step(measured, target)
    if measured < target - self.width then
        self.on = true
    elseif measured > target + self.width then
        self.on = false
    end
    return self.on
end

return hysteresis
