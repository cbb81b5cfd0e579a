-- The switched outputs.
#include "device.lh"

local log = require("log").new("relay")

local relay = {}
local state = {}

function relay.set(output, on)
    if state[output] ~= on then
        state[output] = on
        log.info("output %d %s", output, on and "on" or "off")
    end
end

function relay.heating(on)
    relay.set(RELAY_HEATING, on)
end

return relay
