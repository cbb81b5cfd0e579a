-- Start-up script of an installer: shows what it carries.

local function show(what, path)
    local file = io.open(path, "rb")
    if file then
        print(string.format("%s: %d bytes", what, file:seek("end")))
        file:close()
    end
    return file ~= nil
end

local firmware = show("firmware", "/usr/share/firmware.ztf")
local boot_block = show("boot block", "/usr/share/mbr.bin")
if not firmware and not boot_block then
    print("nothing to install")
    os.exit(1)
end
