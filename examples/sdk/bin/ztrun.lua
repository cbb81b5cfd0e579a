-- The stand-in for a device: runs /etc/autoexec.lua of an unpacked image.
-- Arguments: the directory that holds the image, a Lua file that returns the translated texts.

local root, catalogue = arg[1], arg[2]
local texts = dofile(catalogue)
local directory = "/"
local failed = false

-- The place on this machine of a path of the device.
local function place(path)
    if path:sub(1, 1) ~= "/" then
        path = directory:gsub("/*$", "/") .. path
    end
    return root .. path
end

-- Results of a function on this machine, where a message names paths of the device.
local function results(value, message, ...)
    if value == nil and message then
        local first, last = message:find(root, 1, true)
        message = first and message:sub(1, first - 1) .. message:sub(last + 1) or message
    end
    return value, message, ...
end

local real_loadfile, real_open, real_lines, real_exit = loadfile, io.open, io.lines, os.exit

function loadfile(path) return results(real_loadfile(place(path))) end
function dofile(path) return assert(loadfile(path))() end
function io.open(path, mode) return results(real_open(place(path), mode)) end
function io.lines(path) return real_lines(place(path)) end

package.path = root .. "/usr/lib/lua/?.lua;" .. root .. "/usr/lib/lua/?/init.lua"
package.cpath = ""

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
real_exit(failed and 1 or 0)
