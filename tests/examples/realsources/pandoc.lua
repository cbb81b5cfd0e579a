-- Writes a page with pandoc's sample of a writer, whose surroundings are stand-ins.
local base = arg and arg[1] or ""

pandoc = { pipe = function() return "" end }
PANDOC_DOCUMENT = { meta = {} }
package.preload["pandoc.utils"] = function() return { stringify = tostring } end
dofile(base .. "/usr/lib/pandoc/sample.lua")

print(Doc(table.concat({
    Header(1, Str("Title & more"), { id = "t", class = "" }),
    Para(Emph(Str("one")) .. Space() .. Strong(Str("<two>")) .. Note(Para("a note"))),
    BulletList({ Plain("x"), Plain(Code("y", {})) }),
    OrderedList({ Plain(Link("s", "http://target/?a&b", "title", {})) }),
    DefinitionList({ { term = { "meaning" } } }),
    CodeBlock("local x = 1 < 2", { id = "c", class = "lua" }),
    Table("caption", { "AlignLeft", "AlignRight" }, { 0.5, 0 }, { "a", "b" }, { { "1", "2" } }),
}, Blocksep()), {}, {}))
os.exit(0)
