-- Watches the room and the supply, and raises alarms.
#include "device.lh"
#include "thermostat.lh"

local adc = require("thermostat.hardware.adc")
local log = require("log").new("alarm")
local relay = require("thermostat.hardware.relay")

local alarm = {}
local count = 0

local function raise(text)
    count = count + 1
    relay.set(LED_ALARM, true)
    log.warning("%s", text)
end

function alarm.check(temperature)
    if temperature < FROST_LIMIT then
        raise(tr("Danger of frost"))
    end
    if adc.supply() < 4500 then
        raise(tr("Supply voltage too low"))
    end
end

function alarm.count()
    return count
end

return alarm
