-- Part of index.html; the web server runs it as it stands.
local registers = require("thermostat.registers")

for _, register in ipairs(registers.all()) do
    print(register.entry.name .. ": " .. tostring(register.value) .. "<br>")
end
