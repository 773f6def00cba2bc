-- Connects to a TCP server, sends a line and prints the answer.
--
--   ./run Examples/tcp_client.lua localhost 5001 hello

local address, port, text = ...
port = tonumber(port)
if not port then
  error("usage: tcp_client.lua HOST PORT [TEXT]", 0)
end

local socket = RAWSocketVYN(RAWSocketVYN.AddressFamilyINet, RAWSocketVYN.SocketTypeStream, RAWSocketVYN.ProtocolTCP)

-- Connect tries every address of the name, IPv6 and IPv4, and waits until one answers. The socket it
-- leaves is a blocking one: read when DataAvailable says so, and nothing waits.
local connected, message = socket:Connect(address, port)
if not connected then
  error(message, 0)
end
print(("connected to %s:%d from port %d"):format(address, port, socket.LocalPort))

local answer
function socket:DataAvailable()
  local bytes = self:Read(65536)
  answer = bytes and bytes:bytes() or "" -- nil: the server has closed
end

local MSG_NOSIGNAL = 0x4000
local line = MemoryBlock((text or "hello") .. "\n")
socket:Send(line, line.Size, MSG_NOSIGNAL)
if socket.Lasterror ~= 0 then
  error("can't send: " .. host.errorText(socket.Lasterror), 0)
elseif not host.run(function() return answer ~= nil end, 5.0) then
  error("no answer within 5 s", 0)
end
print("answer: " .. answer:gsub("%s+$", ""))
socket:Close()
