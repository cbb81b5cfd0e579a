-- Log lines with the name of the part that writes them.

local log = {}

function log.new(name)
    local self = {}
    function self.info(format, ...)
        os.syslog(string.format("[%s] " .. format, name, ...))
    end
    function self.warning(format, ...)
        os.syslog(string.format("[%s] Warning: " .. format, name, ...))
    end
    return self
end

return log
