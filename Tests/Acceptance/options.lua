-- Option properties: each is set and read back, moves no other, and tells what the system says.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, outcome, balanced, refused = support.equal, support.outcome, support.balanced, support.refused

local EBADF, EINVAL, EADDRINUSE, EADDRNOTAVAIL = 9, 22, 98, 99

-- name, kind, values to set, what they read back as (left out: the same), values that are refused, and how (EINVAL)
local rows = {
  { "TypeOfService", "Integer", { 0, 16, 8 } },
  { "TimeToLive", "Integer", { 1, 64, 255 }, nil, { 0, 256, -2, 1 << 31 } },
  { "MulticastTimeToLive", "Integer", { 0, 1, 255 }, nil, { 256, -2 } },
  { "SendBufferSize", "Integer", { 8192, 65536 }, { 16384, 131072 } },
  { "ReceiveBufferSize", "Integer", { 8192, 65536 }, { 16384, 131072 } },
  { "MulticastLoop", "Boolean", { false, true } },
  { "ReuseAddress", "Boolean", { true, false } },
  { "ReusePort", "Boolean", { true, false } },
  { "Broadcast", "Boolean", { true, false } },
  { "MulticastInterface", "String", { "127.0.0.1", "" }, { "127.0.0.1", "0.0.0.0" }, { "eth0", "255.255.255.255" },
    EADDRNOTAVAIL },
}
if support.emulated then -- which has no such option
  for i, row in ipairs(rows) do
    if row[1] == "MulticastInterface" then table.remove(rows, i) end
  end
end

-- What a property answers without a socket, and after a call that failed.
local absent = { Integer = 0, Boolean = false, String = "" }
local failed = { Integer = -1, Boolean = false, String = "0.0.0.0" }
local failedOf = { ReusePort = true }

local function all(socket)
  local values = {}
  for _, row in ipairs(rows) do
    values[row[1]] = socket[row[1]]
    equal(socket.Lasterror, 0, row[1])
  end
  return values
end

balanced("every option is set, read back and moves no other", function()
  local socket = UDPSocketVYN()
  for _, row in ipairs(rows) do
    local name, values, readBack = row[1], row[3], row[4] or row[3]
    for i, value in ipairs(values) do
      local before = all(socket)
      socket[name] = value
      equal(socket.Lasterror, 0, name)
      equal(socket[name], readBack[i], name)
      before[name] = readBack[i]
      for other, found in pairs(all(socket)) do equal(found, before[other], other .. " after " .. name) end
    end
    for _, value in ipairs(row[5] or {}) do
      refused(socket, row[6] or EINVAL, function() socket[name] = value end)
    end
  end
  -- 64-bit values count by their low 32 bits.
  socket.TimeToLive = (1 << 32) + 9
  equal(socket.TimeToLive, 9)
end)

balanced("without a socket, and with a closed one", function()
  local socket = UDPSocketVYN()
  local handle = socket.Handle
  host.close(handle)
  for _, row in ipairs(rows) do
    local name, kind, value = row[1], row[2], row[3][1]
    socket.Handle = 0
    socket[name] = value
    equal(socket.Lasterror, -1, name)
    socket.Lasterror = 5
    equal(socket[name], absent[kind], name)
    equal(socket.Lasterror, -1, name)

    socket.Handle = handle
    socket[name] = value
    equal(socket.Lasterror, EBADF, name)
    socket.Lasterror = 5
    local wanted = failedOf[name]
    if wanted == nil then wanted = failed[kind] end
    equal(socket[name], wanted, name)
    equal(socket.Lasterror, EBADF, name)
  end
  for name, answers in pairs({ Type = { 0, -1 }, SocketError = { 0, -1 }, LocalPort = { 0, -1 },
    AvailableBytes = { 0, 0 }, LocalIP = { "", "" } }) do
    for i, number in ipairs({ 0, handle }) do
      socket.Handle, socket.Lasterror = number, 7
      equal(socket[name], answers[i], name)
      equal(socket.Lasterror, number == 0 and -1 or EBADF, name)
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
