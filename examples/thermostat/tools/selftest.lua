-- Checks a device before it is shipped: lua /usr/bin/selftest.lua
#include "selftest.lh"
#include "mtd16.lh"

local failures = 0

local function check(what, passed)
    print(string.format("%-24s %s", what, passed and tr("passed") or tr("FAILED")))
    failures = failures + (passed and 0 or 1)
end

local function depth(n)
    return n == 0 and 0 or 1 + depth(n - 1)
end

local mtd16 = require("mtd16")
check(tr("Register table"), mtd16[MTD16_ALARMS] == mtd16.ALARMS)
check(tr("Call depth"), depth(STACK_LIMIT) == STACK_LIMIT)
os.exit(failures == 0 and 0 or 1)
