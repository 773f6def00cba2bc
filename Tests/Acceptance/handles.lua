-- Whatever a program writes into Handle: every operation on every kind of descriptor, and on numbers that are
-- none. Nothing crashes or waits, and a foreign descriptor stays open.
--   vynhost handles.lua [KIND]   leaves that kind out
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))

host.ignoreBrokenPipes() -- SendMessage on a stream without a peer

local sparse = os.tmpname()
local file = io.open(sparse, "w")
file:seek("set", 3 * 1024 * 1024 * 1024)
file:write("x")
file:close()

local listener = host.tcpListener()
local connected = host.tcp("127.0.0.1", listener.LocalPort)

-- Each makes a descriptor that the test closes afterwards, or a number that is no descriptor.
local kinds = {
  { "minus one", -1 }, { "minus five", -5 }, { "smallest", math.mininteger }, { "largest", math.maxinteger },
  { "never opened", 900 }, { "1,023", 1023 }, { "1,024", 1024 }, { "19,999", 19999 }, { "2^31", 1 << 31 },
  { "2^32 + 1", (1 << 32) + 1 }, { "2^40", 1 << 40 },
  { "/dev/null", function() return host.open("/dev/null", "r+") end },
  { "/dev/full", function() return host.open("/dev/full", "r+") end },
  { "a file of 3 GiB", function() return host.open(sparse, "r") end },
  { "a folder", function() return host.open("/tmp", "r") end },
  { "a pipe", function()
    local readEnd, writeEnd = host.pipe()
    host.close(writeEnd)
    return readEnd
  end },
  { "a UDP socket", function() return host.socket(2, 2, 0) end },
  { "a TCP socket", function() return host.socket(2, 1, 0) end },
  { "an IPv6 socket", function() return host.socket(10, 2, 0) end },
  { "a unix socket", function() return host.socket(1, 2, 0) end },
  { "a unix stream", function() return host.socket(1, 1, 0) end },
  { "a netlink socket", function() return host.socket(16, 3, 0) end },
  { "a listening socket", function() return host.dup(listener.Handle, 500) end },
  { "a connected socket", function() return host.dup(connected.Handle, 501) end },
}

local block = MemoryBlock(("\0"):rep(128))
local operations = {
  udp = {
    function(s) s:Bind(0) end,
    function(s) s:SendMessage("x", "127.0.0.1", 9) end,
    function(s) s:SendMessage(block, "127.0.0.1", 9) end,
    function(s) s:Read(true) end,
    function(s) s:Read() end,
    function(s) s:AddMembership("239.1.2.3", "127.0.0.1") end,
    function(s) s:DropMembership("239.1.2.3", "127.0.0.1") end,
  },
  raw = {
    function(s) s:Listen() end,
    function(s) s:Bind(block, 16) end,
    function(s) s:Connect(block, 16) end,
    function(s) s:Send(block, 1, 0x4040) end, -- not waiting, no signal
    function(s) s:SendTo(block, 1, 0x4040, block, 16) end,
    function(s) s:ReadDatagram(true) end,
    function(s) s:ReadDatagram() end,
  },
}
local properties = {
  udp = support.properties("UDPSocketVYN"),
  raw = support.properties("RAWSocketVYN"),
}

local function exercise(kind, socket, name, handle, isNumber)
  for i, operation in ipairs(operations[kind]) do
    socket.Handle = handle
    operation(socket)
    local told = socket.Lasterror
    assert(isNumber and told == 9 or not isNumber and told >= -1, name .. ": operation " .. i .. " told " .. told)
  end
  for _, property in ipairs(properties[kind]) do
    socket.Handle = handle
    local value = socket[property]
    assert(tostring(value) ~= "nil", name .. ": " .. property) -- looks at every bit, for valgrind
  end
  local selectable = handle >= 0 and handle < 1024
  if selectable or not support.emulated then
    for _ = 1, 1000 do -- each comes back at once
      socket:Poll()
    end
  end
  socket.Handle = 0
end

local leftOut = ...
local function try(name, make)
  if name == leftOut then return end
  support.balanced(name, function()
    local udp, raw = UDPSocketVYN(), RAWSocketVYN(2, 2, 17)
    local isNumber = type(make) == "number"
    for _, socket in ipairs({ udp, raw }) do
      socket:SendMessage("x", "127.0.0.1", 9)
      for _, event in ipairs({ "DataAvailable", "SendComplete", "Error" }) do
        socket[event] = function() assert(not isNumber, event .. " of " .. name) end
      end
      host.close(socket.Handle)
      socket.Handle = 0
    end
    local handle = isNumber and make or make()
    exercise("udp", udp, name, handle, isNumber)
    exercise("raw", raw, name, handle, isNumber)
    if not isNumber then
      assert(host.isOpen(handle), name .. " is closed")
      host.close(handle)
    end
  end)
end

support.balanced("no socket", function()
  local udp, raw = UDPSocketVYN(), RAWSocketVYN(2, 1, 6)
  host.close(udp.Handle)
  udp.Handle = 0
  raw:Close()
  for _, socket in ipairs({ udp, raw }) do
    function socket:DataAvailable() error("an event of standard input") end
    socket:Poll()
  end
  for _, row in ipairs({ -- the method, what it answers, and what it is given
    { udp, "Bind", nil, 5000 },
    { udp, "SendMessage", 0, "x", "127.0.0.1", 9 },
    { udp, "SendMessage", 0, block, "127.0.0.1", 9 },
    { udp, "SendMessage", 0, DatagramVYN() },
    { udp, "Read", nil },
    { udp, "AddMembership", nil, "239.1.2.3" },
    { udp, "DropMembership", nil, "239.1.2.3" },
    { raw, "Listen", nil },
    { raw, "Accept", nil, nil },
    { raw, "Send", 0, block, 1 },
    { raw, "SendTo", 0, block, 1, 0, block, 16 },
    { raw, "Read", nil, 1 },
    { raw, "ReadAll", nil },
    { raw, "ReadDatagram", nil },
    { raw, "Connect", false, block, 16 },
    { raw, "Bind", false, block, 16 },
  }) do
    local socket, method = row[1], row[2]
    local answer = support.refused(socket, -1, function() return socket[method](socket, table.unpack(row, 4)) end)
    support.equal(answer, row[3], method)
  end
end)

for _, row in ipairs(kinds) do try(table.unpack(row)) end
os.remove(sparse)
print(#kinds - (leftOut and 1 or 0) .. " kinds of descriptor and number tried")
