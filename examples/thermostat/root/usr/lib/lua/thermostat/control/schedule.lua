-- The target temperature by the time of day.

local clock = require("thermostat.clock")

local schedule = {}
schedule.__index = schedule

function schedule.new(settings)
    return setmetatable({
        morning = clock.minutes(settings.morning),
        night = clock.minutes(settings.night),
        comfort = settings.comfort,
        economy = settings.economy,
    }, schedule)
end

function schedule:target(time)
    local minute = time:minute_of_day()
    local day = minute >= self.morning and minute < self.night
    return day and self.comfort or self.economy
end

return schedule
