-- luv, run by lua5.4. It receives by events: a batch is as many turns of its loop as it needs.
local exchange = dofile(debug.getinfo(1, "S").source:sub(2):gsub("[^/]*$", "exchange.lua"))
local uv = require("luv")

local sender, receiver = uv.new_udp(), uv.new_udp()
assert(sender:bind("127.0.0.1", 0))
assert(receiver:bind("127.0.0.1", 0))
local port = receiver:getsockname().port
local expected, received

receiver:recv_start(function(problem, data, address)
  assert(not problem, problem)
  if address then
    assert(#data == expected and address.ip and address.port)
    received = received + 1
  end
end)

local function send(data, count)
  for _ = 1, count do
    assert(sender:try_send(data, "127.0.0.1", port) == #data)
  end
end

local function receive(size, count)
  expected, received = size, 0
  while received < count do
    uv.run("nowait")
  end
end

exchange(uv.hrtime, send, receive)
