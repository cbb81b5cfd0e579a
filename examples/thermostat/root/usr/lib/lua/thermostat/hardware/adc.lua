-- The analogue inputs. The table of the sensor turns readings into temperatures.
#include "device.lh"

local adc = {}
local readings = { [ADC_ROOM] = 0, [ADC_SUPPLY] = 4980 }
local points = {}

for line in io.lines("/etc/thermostat/sensor.tab") do
    local raw, temperature = line:match("^(%d+)%s+(%S+)")
    if raw then
        points[#points + 1] = { raw = tonumber(raw), temperature = tonumber(temperature) }
    end
end

-- Interpolates between the points of the sensor's table.
local function interpolate(value, from, to)
    for i = 2, #points do
        local a, b = points[i - 1], points[i]
        if value <= b[from] or i == #points then
            return a[to] + (value - a[from]) * (b[to] - a[to]) / (b[from] - a[from])
        end
    end
end

-- Makes the sensor read a temperature.
function adc.simulate(temperature)
    readings[ADC_ROOM] = math.floor(interpolate(temperature, "temperature", "raw") + 0.5)
end

function adc.temperature()
    return interpolate(readings[ADC_ROOM], "raw", "temperature")
end

-- Millivolts.
function adc.supply()
    return readings[ADC_SUPPLY]
end

return adc
