-- The registers that other devices read over the bus.

local mtd16 = require("mtd16")

local registers = {}
local values = {}

-- The types whose values are whole numbers, with their limits.
local limits = {
    u8 = { 0, 255 },
    s16 = { -32768, 32767 },
    u16 = { 0, 65535 },
    u32 = { 0, 4294967295 },
}

function registers.set(id, value)
    local entry = assert(mtd16[id], "no such register")
    local limit = limits[entry.type]
    if limit then
        assert(value >= limit[1] and value <= limit[2], entry.name .. " out of range")
    end
    values[id] = value
end

function registers.get(id)
    return values[id]
end

-- All registers that have a value, by number.
function registers.all()
    local list = {}
    for id, value in pairs(values) do
        list[#list + 1] = { entry = mtd16[id], value = value }
    end
    table.sort(list, function(a, b) return a.entry.id < b.entry.id end)
    return list
end

return registers
