-- Runs Penlight's own tests, those whose names stand in /tests/names, each as if it were alone.
local base = arg and arg[1] or ""
local path = base .. "/usr/lib/lua/?.lua;" .. base .. "/usr/lib/lua/?/init.lua;"
    .. base .. "/tests/lua/?.lua;./?.lua"

-- Penlight's tests need LuaFileSystem, which is written in C. A device has no such modules: what
-- can be done without them stands in.
package.preload.lfs = function()
    local function mode(name)
        local file, message, code = io.open(name, "rb")
        if not file then
            return nil, message, code
        end
        local readable = file:read(0) or file:seek("end") == 0
        file:close()
        return readable and "file" or "directory"
    end
    local function attributes(name, what)
        local found, message, code = mode(name)
        if not found then
            return nil, message, code
        end
        return what == "mode" and found or what == nil and { mode = found } or nil
    end
    return { attributes = attributes, symlinkattributes = attributes,
             currentdir = function() return base == "" and "/" or base end }
end

local programs, walk, lines = "runs other programs", "walks directories", "needs line numbers"
local leftOut = {
    ["test-app.lua"] = programs, ["test-utils.lua"] = programs, ["test-utils2.lua"] = programs,
    ["test-utils3.lua"] = programs, ["test-dir.lua"] = walk, ["test-path.lua"] = walk,
    ["test-strict.lua"] = lines,
}

if os.chdir then
    os.chdir("/")
end

-- Each test finds the globals and the libraries as the first one did, and no module loaded.
local tables, loaded = { _G }, {}
for name, module in pairs(package.loaded) do
    loaded[name] = module
    tables[#tables + 1] = module
end
tables[#tables + 1] = package.loaded
local values = {}
for _, library in ipairs(tables) do
    values[library] = {}
    for name, value in pairs(library) do
        values[library][name] = value
    end
end
local pairs, setmetatable = pairs, setmetatable
local function restore()
    for _, library in ipairs(tables) do
        setmetatable(library, nil)
        for name in pairs(library) do
            library[name] = nil
        end
        for name, value in pairs(values[library]) do
            library[name] = value
        end
    end
end

local ended = {}
local function run(name)
    restore()
    package.path = path
    arg = { [0] = "tests/" .. name }
    function os.exit(status)
        error((status or 0) == 0 and ended or "it ends with status " .. status, 0)
    end
    local ok, message = pcall(dofile, base .. "/tests/" .. name)
    restore()
    return ok or message == ended, message
end

local names = {}
for name in io.lines(base .. "/tests/names") do
    if leftOut[name] then
        print(name, "left out: " .. leftOut[name])
    else
        names[#names + 1] = name
    end
end
local passed = 0
for _, name in ipairs(names) do
    local ok, message = run(name)
    passed = passed + (ok and 1 or 0)
    print(name, ok and "passed" or message)
end
print(passed .. " of " .. #names .. " of Penlight's tests passed")
os.exit(passed == #names and 0 or 1)
