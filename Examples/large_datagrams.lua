-- How much a datagram holds, and what becomes of those that nobody has read yet.
--
--   ./run Examples/large_datagrams.lua

local LARGEST = 65507 -- what a datagram over IPv4 holds at most
local COUNT, SIZE = 20, 60000
local EMSGSIZE = 90

local receiver, sender = UDPSocketVYN(), UDPSocketVYN()
receiver:Bind(0, "localhost")
local port = receiver.LocalPort

local function send(size)
  return sender:SendMessage(("x"):rep(size), "127.0.0.1", port)
end

-- Everything that is queued, counted. Read gives nil at the end of the queue.
local function drain()
  local count = 0
  while receiver:Read() do
    count = count + 1
  end
  return count
end

assert(send(LARGEST) == LARGEST)
print(("%d bytes: sent, and %d wait to be read"):format(LARGEST, receiver.AvailableBytes))
assert(drain() == 1)

assert(send(LARGEST + 1) == -1 and sender.Lasterror == EMSGSIZE)
print(("%d bytes: refused with EMSGSIZE"):format(LARGEST + 1))

-- Each send succeeds; what the receive buffer can't hold is gone, and nobody is told.
local function burst()
  for _ = 1, COUNT do
    assert(send(SIZE) == SIZE)
  end
  return drain()
end

receiver.ReceiveBufferSize = 65536
print(("a buffer of %d bytes keeps %d of %d"):format(receiver.ReceiveBufferSize, burst(), COUNT))
receiver.ReceiveBufferSize = 4 << 20 -- the system may grant less: net.core.rmem_max
print(("a buffer of %d bytes keeps %d of %d"):format(receiver.ReceiveBufferSize, burst(), COUNT))
