local greeting = io.open("/etc/greeting"):read("*l")
local version = io.open("/etc/version"):read("*l")
print(string.format("%s, version %s", greeting, version))
dofile("/usr/share/scripts/bye.lua")
