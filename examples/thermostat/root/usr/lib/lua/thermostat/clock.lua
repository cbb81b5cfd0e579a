-- The time of day, which the simulation advances.
#include "thermostat.lh"

local clock = {}
clock.__index = clock

-- Minutes since midnight of a time such as "06:30".
function clock.minutes(text)
    local hour, minute = text:match("^(%d+):(%d+)$")
    return tonumber(hour) * 60 + tonumber(minute)
end

function clock.new(start)
    local now = clock.minutes(start)
    return setmetatable({ start = now, now = now }, clock)
end

function clock:advance(minutes)
    self.now = self.now + minutes
end

function clock:elapsed()
    return self.now - self.start
end

function clock:minute_of_day()
    return self.now % MINUTES_PER_DAY
end

function clock:__tostring()
    local minute = self:minute_of_day()
    return string.format("%02d:%02d", math.floor(minute / 60), minute % 60)
end

return clock
