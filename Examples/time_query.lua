-- Asks a server for the time, in packets of a binary protocol that are built and read byte by byte.
--
--   ./run Examples/time_query.lua
--
-- Both sides run in this program. A packet has 16 bytes, numbers with their high byte first:
--   0  kind, 1 for a question and 2 for an answer        4  seconds since 1970
--   1  version, 1                                       12  microseconds
--   2  identifier, which the answer repeats

local QUESTION, ANSWER, VERSION, SIZE = 1, 2, 1, 16

-- A number of that many bytes, into a block and out of it.
local function put(block, offset, size, number)
  for i = size - 1, 0, -1 do
    block:byte(offset + i, number & 255)
    number = number >> 8
  end
end

local function get(block, offset, size)
  local number = 0
  for i = 0, size - 1 do
    number = number << 8 | block:byte(offset + i)
  end
  return number
end

local function packet(kind, identifier)
  local block = MemoryBlock(SIZE)
  put(block, 0, 1, kind)
  put(block, 1, 1, VERSION)
  put(block, 2, 2, identifier)
  return block
end

-- What comes from a network may be anything: the right size, kind and version, or nothing.
local function read(socket, kind)
  local datagram = socket:Read()
  if not datagram or datagram.Length ~= SIZE then
    return
  end
  local block = MemoryBlock(datagram.Data)
  if get(block, 0, 1) == kind and get(block, 1, 1) == VERSION then
    return block, datagram
  end
end

local server = UDPSocketVYN()
server:Bind(0, "localhost")

function server:DataAvailable()
  local question, from = read(self, QUESTION)
  if question then
    local answer = packet(ANSWER, get(question, 2, 2))
    local now = host.now()
    put(answer, 4, 8, now // 1 | 0)
    put(answer, 12, 4, now % 1 * 1000000 // 1 | 0)
    self:SendMessage(answer, from.Address, from.Port)
  end
end

local client, told = UDPSocketVYN(), nil
local identifier = 0xBEEF

function client:DataAvailable()
  local answer = read(self, ANSWER)
  if answer and get(answer, 2, 2) == identifier then
    told = answer
  end
end

client:SendMessage("not a packet", "127.0.0.1", server.LocalPort)
client:SendMessage(packet(QUESTION, identifier), "127.0.0.1", server.LocalPort)
assert(host.run(function() return told ~= nil end, 2.0), "no answer")
print("it is " .. os.date("!%Y-%m-%d %H:%M:%S", get(told, 4, 8)) .. (".%06d"):format(get(told, 12, 4)))
