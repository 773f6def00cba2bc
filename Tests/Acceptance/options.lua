-- Option properties: each is set and read back, moves no other, and tells what the system says.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, outcome, balanced, refused = support.equal, support.outcome, support.balanced, support.refused

local EBADF, EINVAL, EADDRINUSE, EADDRNOTAVAIL = 9, 22, 98, 99

-- name, values to set, what they read back as (left out: the same), values that are refused, and how (EINVAL)
local rows = {
  { "TypeOfService", { 0, 16, 8 } },
  { "TimeToLive", { 1, 64, 255 }, nil, { 0, 256, -2, 1 << 31 } },
  { "MulticastTimeToLive", { 0, 1, 255 }, nil, { 256, -2 } },
  { "SendBufferSize", { 8192, 65536 }, { 16384, 131072 } },
  { "ReceiveBufferSize", { 8192, 65536 }, { 16384, 131072 } },
  { "MulticastLoop", { false, true } },
  { "ReuseAddress", { true, false } },
  { "ReusePort", { true, false } },
  { "Broadcast", { true, false } },
  { "MulticastInterface", { "127.0.0.1", "" }, { "127.0.0.1", "0.0.0.0" }, { "eth0", "255.255.255.255" },
    EADDRNOTAVAIL },
}
if support.emulated then -- which has no such option
  for i, row in ipairs(rows) do
    if row[1] == "MulticastInterface" then table.remove(rows, i) end
  end
end

balanced("every option is set, read back and moves no other", function()
  local socket = UDPSocketVYN()
  local function succeeded(value)
    equal(socket.Lasterror, 0)
    return value
  end
  support.setEach(rows, function(name) return succeeded(socket[name]) end,
    function(name, value) socket[name] = value; succeeded() end)
  for _, row in ipairs(rows) do
    for _, value in ipairs(row[4] or {}) do
      refused(socket, row[5] or EINVAL, function() socket[row[1]] = value end)
    end
  end
  -- 64-bit values count by their low 32 bits.
  socket.TimeToLive = (1 << 32) + 9
  equal(socket.TimeToLive, 9)
end)

-- What a property answers without a socket, and after a call that failed; by the type of its values, but for some.
local answers = { number = { 0, -1 }, boolean = { false, false }, string = { "", "0.0.0.0" },
  ReusePort = { false, true }, AvailableBytes = { 0, 0 }, LocalIP = { "", "" } }

balanced("without a socket, and with a closed one", function()
  local socket = UDPSocketVYN()
  local handle = socket.Handle
  host.close(handle)
  for _, row in ipairs({ { "Type" }, { "SocketError" }, { "LocalPort" }, { "AvailableBytes" }, { "LocalIP" },
    table.unpack(rows) }) do
    local name, value = row[1], row[2] and row[2][1]
    for i, state in ipairs({ { 0, -1 }, { handle, EBADF } }) do
      socket.Handle = state[1]
      if value ~= nil then
        socket[name] = value
        equal(socket.Lasterror, state[2], name)
      end
      socket.Lasterror = 5
      equal(socket[name], (answers[name] or answers[type(value)] or answers.number)[i], name)
      equal(socket.Lasterror, state[2], name)
    end
  end
end)

balanced("options of a raw socket", function()
  local socket = RAWSocketVYN(2, 1, 6)
  for _, name in ipairs({ "ReuseAddress", "ReusePort", "Broadcast" }) do
    equal(socket[name], false, name)
    socket[name] = true
    equal(socket[name], true, name)
  end
  socket.SendBufferSize, socket.ReceiveBufferSize = 8192, 8192
  equal(socket.SendBufferSize + socket.ReceiveBufferSize, 32768)
  equal(socket.SocketError, 0)
  -- Only raw IP sockets have the header option: ENOPROTOOPT.
  refused(socket, 92, function() socket.IPHeaderIncluded = true end)
  equal(socket.IPHeaderIncluded, false)
  local ok, raw = pcall(RAWSocketVYN, 2, 3, 255)
  if not ok then return print("skipped: raw IP sockets need a privilege") end
  equal(raw.IPHeaderIncluded, true) -- protocol 255 means just that
  raw.IPHeaderIncluded = false
  equal(raw.Lasterror, 0)
  equal(raw.IPHeaderIncluded, false)
end)

balanced("multicast on the loopback interface", function()
  local receiver = UDPSocketVYN()
  receiver:Bind(0)
  local port = receiver.LocalPort
  -- A group of this run's own: the system delivers to every socket as long as one of the machine's has joined.
  local GROUP = ("239.1.%d.%d"):format(port >> 8, port & 255)
  outcome(receiver, 0, receiver:AddMembership(GROUP .. "\0.5", "127.0.0.1\0.5")) -- a zero byte ends each
  refused(receiver, EADDRINUSE, function() receiver:AddMembership(GROUP, "127.0.0.1") end)
  local sender = UDPSocketVYN()
  if support.emulated then
    return -- without the interface the datagrams go elsewhere
  end
  sender.MulticastInterface = "127.0.0.1\0.5"
  equal(sender:SendMessage("to the group", GROUP, port), 12)
  support.arrived(receiver)
  equal(receiver:Read().Data, "to the group")

  outcome(receiver, 0, receiver:DropMembership(GROUP .. "\0.5", "127.0.0.1\0.5"))
  refused(receiver, EADDRNOTAVAIL, function() receiver:DropMembership(GROUP, "127.0.0.1") end)
  sender:SendMessage("to nobody", GROUP, port)
  host.sleep(0.05)
  equal(receiver:Read(), nil)

  for _, group in ipairs({ "10.0.0.1", "nonsense", "" }) do
    refused(receiver, EINVAL, function() receiver:AddMembership(group, "127.0.0.1") end)
  end
  for _, interface in ipairs({ "eth0", "255.255.255.255", "1.2.3.4.5" }) do
    refused(receiver, -1, function() receiver:AddMembership(GROUP, interface) end,
      "UnsupportedOperationException: Invalid address.")
  end
end)
