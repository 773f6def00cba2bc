-- Sends every datagram back to where it came from. Speaks with any UDP program:
--
--   ./run Examples/echo_server.lua 5000
--   echo hello | socat - UDP4:127.0.0.1:5000
--
-- Arguments: the port, and how many seconds to serve (until stopped when left out).

local port = tonumber((...))
if not port then
  error("usage: echo_server.lua PORT [SECONDS]", 0)
end
local seconds = tonumber((select(2, ...)))

local server = UDPSocketVYN()
server:Bind(port, "localhost")
if server.Lasterror ~= 0 then
  error(("can't bind port %d: %s"):format(port, host.errorText(server.Lasterror)), 0)
end

function server:DataAvailable()
  local datagram = self:Read()
  if not datagram then
    return -- an empty datagram, which is off the queue now
  end
  self:SendMessage(datagram) -- to the datagram's own address and port
  if self.Lasterror ~= 0 then
    print(("no answer to %s:%d: %s"):format(datagram.Address, datagram.Port, host.errorText(self.Lasterror)))
  end
end

print("echo server on 127.0.0.1:" .. server.LocalPort)
io.stdout:flush()
host.run(seconds or math.huge)
