-- Ours: run by build/vynhost.
local exchange = dofile(debug.getinfo(1, "S").source:sub(2):gsub("[^/]*$", "exchange.lua"))

local sender, receiver = UDPSocketVYN(), UDPSocketVYN()
sender:Bind(0, "127.0.0.1")
receiver:Bind(0, "127.0.0.1")
local port = receiver.LocalPort

local function clock()
  return host.time() * 1e9
end

local function send(data, count)
  for _ = 1, count do
    assert(sender:SendMessage(data, "127.0.0.1", port) == #data)
  end
end

local function receive(size, count)
  for _ = 1, count do
    local datagram = receiver:Read()
    local data, address, from = datagram.Data, datagram.Address, datagram.Port
    assert(#data == size and address and from)
  end
end

exchange(clock, send, receive)
