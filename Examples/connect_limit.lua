-- Connects to a TCP server without waiting, and gives up after a time of your choice.
--
--   ./run Examples/connect_limit.lua 127.0.0.1 5001 2.5
--
-- Connect with a name waits, minutes when the other side is silent. Connect with a socket address returns at once, and
-- is asked again until it has an answer; the host's loop runs meanwhile.

local name, port, seconds = ...
port, seconds = tonumber(port), tonumber(seconds)
if not seconds then
  error("usage: connect_limit.lua HOST PORT SECONDS", 0)
end
local address = DNSNameToAddressVYN(name)
if address == "" then
  error("no such host: " .. name, 0)
end

-- A sockaddr_in of 16 bytes: the family in the machine's order, port and address in that of the network.
local octets = string.char(address:match("(%d+)%.(%d+)%.(%d+)%.(%d+)"))
local target = MemoryBlock(string.pack("=I2>I2", 2, port) .. octets .. ("\0"):rep(8))

local EISCONN, EALREADY, EINPROGRESS = 106, 114, 115
local socket = RAWSocketVYN(RAWSocketVYN.AddressFamilyINet, RAWSocketVYN.SocketTypeStream, RAWSocketVYN.ProtocolTCP)
local failure

local function answered()
  if socket:Connect(target, target.Size) or socket.Lasterror == EISCONN then
    return true
  end
  if socket.Lasterror ~= EINPROGRESS and socket.Lasterror ~= EALREADY then
    failure = socket.Lasterror
  end
  return failure ~= nil
end

if not host.run(answered, seconds) then
  error(("no answer from %s:%d within %g s"):format(address, port, seconds), 0)
elseif failure then
  error(("can't connect to %s:%d: %s"):format(address, port, host.errorText(failure)), 0)
end
print(("connected to %s:%d from port %d"):format(address, port, socket.LocalPort))
socket:Close()
