-- The stand-in for a device: runs /etc/autoexec.lua of an unpacked image.
-- Arguments: the directory that holds the image, a Lua file that returns the translated texts.

local root, catalogue = arg[1], arg[2]
local texts = dofile(catalogue)
local directory = "/"
local failed = false

-- The place on this machine of a path of the device. What is no path is left to the real function.
local function place(path)
    if type(path) ~= "string" then
        return path
    end
    if path:sub(1, 1) ~= "/" then
        path = directory:gsub("/*$", "/") .. path
    end
    return root .. path
end

-- Results of a function on this machine, where a message names paths of the device.
local function results(value, message, ...)
    if not value and type(message) == "string" then
        local first, last = message:find(root, 1, true)
        message = first and message:sub(1, first - 1) .. message:sub(last + 1) or message
    end
    return value, message, ...
end

local real = { loadfile = loadfile, exit = os.exit, remove = os.remove, rename = os.rename }
for name, value in pairs(io) do
    real[name] = value
end

function io.open(path, ...) return results(real.open(place(path), ...)) end
function io.lines(...) return real.lines(place(...)) end
function io.input(...) return real.input(place(...)) end
function io.output(...) return real.output(place(...)) end
function os.remove(path) return results(real.remove(place(path))) end
function os.rename(old, new) return results(real.rename(place(old), place(new))) end

-- What is loaded bears its path on the device.
function loadfile(path)
    if path == nil then
        return real.loadfile()
    end
    local file, message = io.open(path, "rb")
    if not file then
        return nil, "cannot open " .. message
    end
    local text
    text, message = file:read("*a")
    file:close()
    if not text then
        return nil, "cannot read " .. path .. ": " .. message
    end
    return loadstring((text:gsub("^#[^\n]*", "")), "@" .. path)
end

function dofile(path) return assert(loadfile(path))() end

-- A new empty file; the device's /tmp is there.
local temporary = 0
function os.tmpname()
    temporary = temporary + 1
    local path = "/tmp/lua_" .. temporary
    assert(io.open(path, "a")):close()
    return path
end

-- Modules are found by paths of the device, too: programs look at package.path themselves.
package.path = "/usr/lib/lua/?.lua;/usr/lib/lua/?/init.lua"
package.cpath = ""
package.loaders[2] = function(name)
    local tried = {}
    for template in package.path:gmatch("[^;]+") do
        local path = template:gsub("%?", (name:gsub("%.", "/"):gsub("%%", "%%%%")))
        local file = io.open(path)
        if file then
            file:close()
            local chunk, message = loadfile(path)
            if not chunk then
                error("error loading module '" .. name .. "':\n\t" .. message, 0)
            end
            return chunk
        end
        tried[#tried + 1] = "\n\tno file '" .. path .. "'"
    end
    return table.concat(tried)
end

function os.chdir(path)
    directory = path:sub(1, 1) == "/" and path or directory:gsub("/*$", "/") .. path
    return true
end

-- The log goes to the standard error stream, in step with what the program prints. The start-up
-- script logs how the program ended.
io.stdout:setvbuf("line")
function os.syslog(text)
    io.stderr:write("syslog: ", text, "\n")
    if text:find("^%[Lua%] ") and text ~= "[Lua] OK." then
        failed = true
    end
end

-- On the device this switches whether a nil index is an error; here nil never is one.
function table._set_allow_nil_index() end

tr = setmetatable({}, { __call = function(_, text) return texts[text] or text end })

arg = nil
dofile("/etc/autoexec.lua")
real.exit(failed and 1 or 0)
