-- Large digits from a font file: for each character one word a row, "#" for a dot.

local font = {}
font.__index = font

function font.load(path)
    local self = setmetatable({ glyphs = {} }, font)
    local lines = io.lines(path)
    self.height = tonumber(lines():match("^%d+ (%d+)$"))
    for line in lines do
        local rows = {}
        for row in line:sub(3):gmatch("%S+") do
            rows[#rows + 1] = (row:gsub("%.", " "))
        end
        self.glyphs[line:sub(1, 1)] = rows
    end
    return self
end

-- The rows of a text.
function font:rows(text)
    local rows = {}
    for y = 1, self.height do
        local parts = {}
        for character in text:gmatch(".") do
            parts[#parts + 1] = self.glyphs[character][y]
        end
        rows[y] = table.concat(parts, " ")
    end
    return rows
end

return font
