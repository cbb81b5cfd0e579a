-- The room that the simulation heats.

local room = {}
room.__index = room

local START = 16.2          -- °C
local LOSS_PER_HOUR = 0.08  -- share of the difference to the outside
local GAIN_PER_HOUR = 3.1   -- K

function room.new(outside)
    return setmetatable({ outside = outside, inside = START }, room)
end

function room:temperature()
    return self.inside
end

function room:step(heating, minutes)
    local hours = minutes / 60
    local loss = (self.inside - self.outside) * LOSS_PER_HOUR * hours
    self.inside = self.inside - loss + (heating and GAIN_PER_HOUR * hours or 0)
end

return room
