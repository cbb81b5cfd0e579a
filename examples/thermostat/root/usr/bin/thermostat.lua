-- The thermostat: reads its settings and controls the heating for some simulated hours.
#include "thermostat.lh"
#include "mtd16.lh"

local adc = require("thermostat.hardware.adc")
local alarm = require("thermostat.alarm")
local clock = require("thermostat.clock")
local config = require("thermostat.config")
local hysteresis = require("thermostat.control.hysteresis")
local registers = require("thermostat.registers")
local relay = require("thermostat.hardware.relay")
local room = require("thermostat.room")
local schedule = require("thermostat.control.schedule")
local screen = require("thermostat.ui.screen")

local settings = config.read("/etc/thermostat.conf")
local version = io.open("/etc/version"):read("*l")

registers.set(MTD16_DEVICE_NAME, settings.name)
registers.set(MTD16_FIRMWARE_VERSION, version)

screen.title(tr("Thermostat"), settings.name, version)

local time = clock.new(settings.start)
local plan = schedule.new(settings)
local control = hysteresis.new(HYSTERESIS)
local model = room.new(settings.outside)

for _ = 1, STEPS do
    adc.simulate(model:temperature())
    local measured = adc.temperature()
    local target = plan:target(time)
    local heating = control:step(measured, target)
    relay.heating(heating)
    alarm.check(measured)

    registers.set(MTD16_ROOM_TEMPERATURE, math.floor(measured * 10 + 0.5))
    registers.set(MTD16_TARGET_TEMPERATURE, math.floor(target * 10 + 0.5))
    registers.set(MTD16_HEATING, heating)
    registers.set(MTD16_SUPPLY_VOLTAGE, adc.supply())
    registers.set(MTD16_OPERATING_MINUTES, time:elapsed())
    registers.set(MTD16_ALARMS, alarm.count())
    screen.line(time, measured, target, heating)

    model:step(heating, STEP_MINUTES)
    time:advance(STEP_MINUTES)
end

screen.large(registers.get(MTD16_ROOM_TEMPERATURE) / 10)
screen.registers(registers)
