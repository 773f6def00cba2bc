-- What an operation says when it fails: nil, 0 or -1 with Lasterror, or an exception.
--
--   ./run Examples/errors.lua

-- Lasterror belongs to the last operation: take it before the next one.
local function tell(what, socket)
  local code = socket.Lasterror
  print(("%-34s Lasterror %3d   %s"):format(what, code, host.errorText(code)))
end

local socket, other = UDPSocketVYN(), UDPSocketVYN()

socket:Bind(0, "localhost")
tell("Bind to a free port", socket)
other:Bind(socket.LocalPort, "localhost")
tell("Bind to a port in use", other)
other:Bind(0, "192.0.2.1")
tell("Bind to an address of others", other)
other:Bind(0, "www.example.org")
tell("Bind to a name", other)

socket.TimeToLive = 0
tell("TimeToLive = 0", socket)
local address = socket.LocalIP
tell("LocalIP, which is " .. address, socket)
local datagram = socket:Read()
tell("Read with nothing queued: " .. tostring(datagram), socket)
local sent = socket:SendMessage("x", "", 5000)
tell("SendMessage to nobody: " .. sent, socket)
sent = socket:SendMessage("x", "127.255.255.255", 5000)
tell("SendMessage to everybody: " .. sent, socket)

-- Arguments that can't be meant raise.
local accepted, failure = pcall(function() socket:Bind(65536) end)
assert(not accepted)
print(("%-34s %s: %s"):format("Bind to port 65536", failure.class, failure.message))
tell("  afterwards", socket)
