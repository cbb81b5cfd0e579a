-- Reads "name = value" files.

local config = {}

local numbers = { comfort = true, economy = true, outside = true }

function config.read(path)
    local settings = {}
    for line in io.lines(path) do
        local name, value = line:match("^%s*([%w_]+)%s*=%s*(.-)%s*$")
        if name then
            settings[name] = numbers[name] and tonumber(value) or value
        end
    end
    return settings
end

return config
