-- Polling and events: when they come, and what handlers may do.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, balanced, bound = support.equal, support.balanced, support.bound

-- A bound socket with so many datagrams queued for it.
local other = UDPSocketVYN()
local function loaded(count)
  local receiver, port = bound()
  for i = 1, count or 1 do other:SendMessage("datagram " .. i, "127.0.0.1", port) end
  support.arrived(receiver)
  return receiver
end

balanced("a queued datagram fires once a poll, until it is read", function()
  local receiver = loaded(2)
  local fired = 0
  function receiver:DataAvailable() fired = fired + 1; self:Read() end
  for poll = 1, 4 do
    receiver:Poll()
    equal(fired, math.min(poll, 2))
  end
end)

balanced("SendComplete comes once after several sends, and not after one that failed", function()
  local _, port = bound()
  local sender, fired = UDPSocketVYN(), 0
  local function count() fired = fired + 1 end
  local function poll(wanted)
    sender:Poll()
    equal(fired, wanted)
  end
  sender.SendComplete = count
  poll(0)
  for _ = 1, 3 do sender:SendMessage("", "127.0.0.1", port) end -- empty ones count too
  poll(1)
  poll(1)
  sender:SendMessage("x", "255.255.255.255", port)
  poll(1)
  -- Without a handler the mark is gone all the same.
  sender.SendComplete = nil
  sender:SendMessage("x", "127.0.0.1", port)
  poll(1)
  sender.SendComplete = count
  poll(1)
  -- A send by the handler is told of too.
  function sender:SendComplete()
    count()
    if fired == 2 then self:SendMessage("x", "127.0.0.1", port) end
  end
  sender:SendMessage("x", "127.0.0.1", port)
  for wanted = 2, 4 do poll(math.min(wanted, 3)) end
end)

-- How a socket comes to have an event due.
local triggers = {
  DataAvailable = function() return loaded() end,
  SendComplete = function()
    local socket, port = bound()
    socket:SendMessage("x", "127.0.0.1", port)
    return socket
  end,
  Error = function() -- an urgent byte after another one
    local client, listener = support.connected()
    local socket = listener:Accept(nil)
    client:Send(MemoryBlock("x!"), 2, 1)
    support.arrived(socket)
    socket.tag = client -- so that it stays
    return socket
  end,
}

local function read(socket, peek)
  if socket.tag then return socket:ReadDatagram(peek) end
  return socket:Read(peek)
end

balanced("one turn tells of data, of what was sent and of an urgent byte, in this order", function()
  local socket, told = triggers.Error(), {}
  for _, event in ipairs({ "DataAvailable", "SendComplete", "Error" }) do
    socket[event] = function() told[#told + 1] = event end
  end
  socket:Send(MemoryBlock("x"), 1, 0)
  socket:Poll()
  equal(table.concat(told, " "), "DataAvailable SendComplete Error")
end)

-- What a handler may do to its own socket and to the others, when it is polled by hand or by the host.
local actions = {
  nothing = function() end,
  read = function(socket) read(socket, false) end,
  peek = function(socket) read(socket, true) end,
  clear = function(socket)
    if socket.tag then return socket:Close() end
    host.close(socket.Handle)
    socket.Handle = 0
  end,
  replace = function(socket)
    host.close(socket.Handle)
    socket.Handle = host.socket(2, 2, 17)
  end,
  absurd = function(socket) host.close(socket.Handle); socket.Handle = 1 << 40 end,
  bind = function(socket) socket:Bind(0) end,
  poll = function(socket) socket:Poll() end,
  open = function(_, kept) for i = 1, 100 do kept[#kept + 1] = UDPSocketVYN() end end,
  destroy = function(socket) -- as far as the program goes: the poll holds it still
    local _ <close> = socket
  end,
  destroyOthers = function(socket, kept)
    for i = 1, #kept do
      if kept[i] ~= socket then
        local _ <close> = kept[i] or nil
        kept[i] = false
      end
    end
  end,
  send = function(socket) socket:SendMessage("x", "127.0.0.1", socket.LocalPort) end,
}
local slow = { open = true } -- a thousand times over

-- So many sockets with that event due, polled once; answers how many handlers ran.
local function turn(event, way, count, action)
  local kept, fired = {}, 0
  for i = 1, count do kept[i] = triggers[event]() end
  for _, socket in ipairs(kept) do
    socket[event] = function(self) fired = fired + 1; action(self, kept) end
  end
  if way == "task" then
    host.step()
  else
    for i = 1, count do
      if kept[i] then kept[i]:Poll() end
    end
  end
  return fired
end

local tried = 0
for name, action in pairs(actions) do
  for event in pairs(triggers) do
    balanced(event .. " with a handler that does this: " .. name, function()
      local thousand = event ~= "Error" and not support.emulated
      for _, count in ipairs({ 1, 2, thousand and not slow[name] and 1000 or nil }) do
        for _, way in ipairs({ "poll", "task" }) do
          equal(turn(event, way, count, action), name == "destroyOthers" and 1 or count, way .. " of " .. count)
          tried = tried + 1
          host.step() -- and the host goes on
          host.collect()
        end
      end
    end)
  end
end

print(tried .. " ways for a handler to meet its sockets tried")

-- What left a handler and did not come to who polled.
local untold = {}
function host.onError(failure)
  untold[#untold + 1] = failure.message
end

balanced("a standard exception ends its handler alone", function()
  local receiver = loaded()
  local completed = false
  receiver:SendMessage("x", "127.0.0.1", 9)
  function receiver:DataAvailable() host.raiseStandard("from the handler") end
  function receiver:SendComplete() completed = true end
  receiver:Poll()
  equal(completed, true)
  equal(table.remove(untold), "from the handler")
end)

balanced("another exception ends the poll and reaches who polled", function()
  local receiver = loaded()
  local completed = 0
  receiver:SendMessage("x", "127.0.0.1", 9)
  function receiver:DataAvailable() host.exception("RuntimeException", "from the handler", 5) end
  function receiver:SendComplete() completed = completed + 1 end
  support.raises("RuntimeException: from the handler", function() receiver:Poll() end)
  equal(completed, 0)
  equal(#untold, 0)
  host.step() -- the task's poll keeps it to itself
  equal(table.remove(untold), "from the handler")
  equal(completed, 0)
  receiver:Read()
  receiver:Poll() -- and the next poll runs
  equal(completed, 1)
end)
