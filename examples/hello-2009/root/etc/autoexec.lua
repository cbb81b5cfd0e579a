-- Projects of the first schema bring their own start-up script.
dofile("/usr/bin/hello.lua")
