-- What the thermostat shows.

local font = require("thermostat.ui.font")

local screen = {}

function screen.title(title, name, version)
    print(string.format("%s %s - %s", title, version, name))
end

function screen.line(time, measured, target, heating)
    print(string.format("%s  %s %4.1f  %s %4.1f  %s", tostring(time), tr("Room"), measured,
        tr("Target", "temperature"), target, heating and tr("Heating on") or tr("Heating off")))
end

function screen.large(temperature)
    local digits = font.load("/usr/share/fonts/digits.fnt")
    for _, row in ipairs(digits:rows(string.format("%.1f", temperature))) do
        print("    " .. row)
    end
end

function screen.registers(registers)
    print(tr("Registers:"))
    for _, register in ipairs(registers.all()) do
        local entry = register.entry
        local unit = entry.unit ~= "" and " [" .. entry.unit .. "]" or ""
        print(string.format("  %04x %-20s %s%s", entry.id, entry.name,
            tostring(register.value), unit))
    end
end

return screen
