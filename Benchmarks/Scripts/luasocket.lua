-- LuaSocket, run by lua5.4.
local exchange = dofile(debug.getinfo(1, "S").source:sub(2):gsub("[^/]*$", "exchange.lua"))
local socket = require("socket")

local sender, receiver = socket.udp(), socket.udp()
assert(sender:setsockname("127.0.0.1", 0))
assert(receiver:setsockname("127.0.0.1", 0))
receiver:settimeout(0)
local port = tonumber((select(2, receiver:getsockname())))

local function clock()
  return socket.gettime() * 1e9
end

local function send(data, count)
  for _ = 1, count do
    assert(sender:sendto(data, "127.0.0.1", port) == #data)
  end
end

local function receive(size, count)
  for _ = 1, count do
    local data, address, from = receiver:receivefrom() -- at most 8,192 bytes
    assert(#data == size and address and from)
  end
end

exchange(clock, send, receive)
