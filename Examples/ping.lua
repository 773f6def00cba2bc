-- Sends an ICMP echo request, made by hand, and waits for the answer.
--
--   sudo ./run Examples/ping.lua 127.0.0.1
--
-- Raw sockets need a privilege (root, or the capability CAP_NET_RAW).

local name = ...
if not name then
  error("usage: ping.lua HOST", 0)
end
local address = DNSNameToAddressVYN(name)
if address == "" then
  error("no such host: " .. name, 0)
end

local made, socket = pcall(RAWSocketVYN, RAWSocketVYN.AddressFamilyINet, RAWSocketVYN.SocketTypeRaw,
  RAWSocketVYN.ProtocolICMP)
if not made then
  error(socket.message, 0) -- with the system's reason, and what it takes
end

local ECHO_REQUEST, ECHO_REPLY = 8, 0
local identifier, sequence = 0x5659, 1

-- Type, code, checksum, identifier, sequence: 8 bytes, then what is to come back.
local function packet(checksum)
  return string.pack(">BB", ECHO_REQUEST, 0) .. string.pack("=I2", checksum)
    .. string.pack(">I2I2", identifier, sequence) .. "the quick brown fox"
end

-- The checksum is made over the packet with 0 in its place, and stored as it comes.
local blank = MemoryBlock(packet(0))
local request = MemoryBlock(packet(RAWSocketVYN.CalcChecksum(blank, blank.Size)))
assert(RAWSocketVYN.CalcChecksum(request, request.Size) == 0) -- right packets sum up to 0

local started, answer = host.time(), nil

function socket:DataAvailable()
  local datagram = self:ReadDatagram()
  if not datagram then
    return
  end
  local headerLength = (datagram.Data:byte(1) & 15) * 4 -- a raw socket sees the IP header too
  local kind, _, _, id = string.unpack(">BBI2I2", datagram.Data, headerLength + 1)
  if kind == ECHO_REPLY and id == identifier then
    answer = datagram
  end
end

socket:SendMessage(request, address, 0)
if socket.Lasterror ~= 0 then
  error(("can't send to %s: %s"):format(address, host.errorText(socket.Lasterror)), 0)
end
if not host.run(function() return answer ~= nil end, 3.0) then
  error("no answer from " .. address .. " within 3 s", 0)
end
print(("%d bytes from %s in %.1f ms"):format(answer.Length, answer.Address, (host.time() - started) * 1000))
