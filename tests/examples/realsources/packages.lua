-- Uses libraries of several packages: what they compute, and the files that they write and find.
local base = arg and arg[1] or ""
if base ~= "" then
    package.path = base .. "/usr/lib/lua/?.lua;" .. base .. "/usr/lib/lua/?/init.lua"
end
local prosody = base .. "/usr/lib/prosody/?.lua"
package.path = package.path .. ";" .. prosody

local List = require "pl.List"
local pretty = require "pl.pretty"
local stringx = require "pl.stringx"
print(List({ 3, 1, 2 }):sort():map("*", 2):join(","))
print(pretty.write({ a = { 1, 2 }, b = "x" }))
print(stringx.center("word", 10, "-"), stringx.title("some words"))
print(require("pl.template").substitute("# for i = 1,2 do\n<$(i)>\n# end\n", { ipairs = ipairs }))
print(pretty.write(require("pl.xml").parse("<a b='c'><d>text</d></a>")))

-- Files: Penlight opens what os.tmpname and package.path name.
local utils = require "pl.utils"
local compat = require "pl.compat"
local name = os.tmpname()
print(utils.writefile(name, "one\ntwo\n"), utils.readfile(name))
print(table.concat(utils.readlines(name), "|"))
print(pretty.write(require("pl.data").read(require("pl.stringio").open("x,y\n1,2\n"))))
print(os.remove(name), utils.readfile(name) == nil)
for _, module in ipairs({ "pl.compat", "util.set", "no.such.module" }) do
    local found = (package.searchpath or compat.searchpath)(module, package.path)
    print(module, found and found:sub(#base + 1))
end

-- Penlight's own examples that need no more than its modules.
for _, example in ipairs({ "seesubst", "test-cmp", "test-listcallbacks", "test-pretty",
                           "testconfig", "testxml" }) do
    print(example, (pcall(dofile, base .. "/usr/share/penlight/" .. example .. ".lua")))
end

local ltn12 = require "ltn12"
local sink, parts = ltn12.sink.table()
local function upper(chunk) return chunk and chunk:upper() end
ltn12.pump.all(ltn12.source.chain(ltn12.source.string("some text"), upper), sink)
print(table.concat(parts))

local set = require "util.set"
local union = set.union(set.new({ "a", "b" }), set.new({ "b", "c" }))
print(union:contains("c"), set.intersection(union, set.new({ "a", "d" })):contains("d"))
local queue = require("util.queue").new(2)
print(queue:push(1), queue:push(2), queue:push(3), queue:pop())
os.exit(0)
