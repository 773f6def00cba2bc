-- Sends one text and prints the answer, if one comes within a second.
--
--   ./run Examples/send.lua localhost 5000 hello

local address, port, text = ...
port = tonumber(port)
if not text or not port then
  error("usage: send.lua HOST PORT TEXT", 0)
end

local socket = UDPSocketVYN()
local answer

function socket:DataAvailable()
  answer = self:Read()
end

-- A host name is resolved, a dotted address is taken as it is. 0 with Lasterror -1: no such host.
local sent = socket:SendMessage(text, address, port)
if socket.Lasterror ~= 0 then
  error(socket.Lasterror == -1 and "no such host: " .. address or host.errorText(socket.Lasterror), 0)
end
print(("sent %d bytes to %s:%d"):format(sent, address, port))

if not host.run(function() return answer ~= nil end, 1.0) then
  error("no answer within 1 s; a UDP socket is not told whether anybody listens", 0)
end
print(("%s:%d answered '%s'"):format(answer.Address, answer.Port, answer.Data))
