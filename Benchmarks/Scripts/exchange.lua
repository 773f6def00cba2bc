-- The loop that the Lua scripts of this folder share: batches are sent over loopback, then received.
--
-- exchange(clock, send, receive): clock() counts nanoseconds; send(data, count) sends that many datagrams;
-- receive(size, count) takes as many off and has payload, address and port of each. For each size it prints
-- "send SIZE NANOSECONDS" and "receive SIZE NANOSECONDS", of one datagram in the mean.
local BATCHES, WARM_UP = 250, 50
local CASES = { { 16, 40 }, { 512, 40 }, { 1400, 40 }, { 8192, 10 } } -- bytes, datagrams in flight

return function(clock, send, receive)
  for _, case in ipairs(CASES) do
    local size, count = table.unpack(case)
    local data = ("x"):rep(size)
    local sending, receiving = 0, 0
    for batch = 1 - WARM_UP, BATCHES do
      local start = clock()
      send(data, count)
      local sent = clock()
      receive(size, count)
      local received = clock()
      if batch > 0 then
        sending = sending + (sent - start)
        receiving = receiving + (received - sent)
      end
    end
    print(("send %d %.1f"):format(size, sending / (BATCHES * count)))
    print(("receive %d %.1f"):format(size, receiving / (BATCHES * count)))
  end
end
