-- RAWSocketVYN: creating, connecting, listening, accepting, bytes in and out, and the class-level methods.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, outcome, refused = support.equal, support.outcome, support.refused
local balanced, wait, address, listening = support.balanced, support.wait, support.address, support.listening

local EAGAIN, EFAULT, EINVAL, EOPNOTSUPP, ECONNREFUSED = 11, 14, 22, 95, 111
local MSG_NOSIGNAL = 0x4000

local function stream()
  return RAWSocketVYN(RAWSocketVYN.AddressFamilyINet, RAWSocketVYN.SocketTypeStream, RAWSocketVYN.ProtocolTCP)
end

-- A port that nobody listens on.
local function deaf()
  local listener, port = listening()
  listener:Close()
  return port
end

balanced("class-level members", function()
  for name, value in pairs({ AddressFamilyINet = 2, SocketTypeStream = 1, SocketTypeDatagram = 2, SocketTypeRaw = 3,
    ProtocolIP = 0, ProtocolUDP = 17, ProtocolICMP = 1, ProtocolTCP = 6, ProtocolIPv6 = 41, ProtocolRaw = 255 }) do
    equal(RAWSocketVYN[name], value, name)
  end
  for _, value in ipairs({ true, false }) do
    UDPSocketVYN.Debugging = value
    equal(UDPSocketVYN.Debugging, value)
  end
  equal(RAWSocketVYN.AddressFamilyINet6(), 10)
  equal(RAWSocketVYN.htons(1), 256)
  equal(RAWSocketVYN.ntohs(256), 1)
  equal(RAWSocketVYN.htonl(1), 16777216)
  equal(RAWSocketVYN.ntohl(RAWSocketVYN.htonl(0xDEADBEEF)), 0xDEADBEEF)
  equal(RAWSocketVYN.inet_addr("10.0.0.1\0.5"), 0x0100000A)
  for _, text in ipairs({ "", "no address", "255.255.255.255", ("1"):rep(65536) }) do
    equal(RAWSocketVYN.inet_addr(text), 0xFFFFFFFF, text:sub(1, 20))
  end
  equal(RAWSocketVYN.inet_ntoa(0x0100007F), "127.0.0.1")
  equal(RAWSocketVYN.inet_ntoa(0xFFFFFFFF), "255.255.255.255")
  local header = MemoryBlock("\x45\0\0\x73\0\0\x40\0\x40\x11\0\0\xC0\xA8\0\1\xC0\xA8\0\xC7")
  equal(RAWSocketVYN.CalcChecksum(header, 20), 0x61B8)
  equal(RAWSocketVYN.CalcChecksum(nil, 20), 0xFFFF)
  for _, count in ipairs({ -1, 21 }) do -- the library would take it for a size
    local ok, refusal = pcall(RAWSocketVYN.CalcChecksum, header, count)
    equal(ok, false)
    equal(tostring(refusal):match("%-?%d+ bytes.*"), count .. " bytes were asked for of the 20 in the memory block")
  end
end)

balanced("connecting by name", function()
  local listener, port = listening()
  local client = stream()
  local before = client.Handle
  local ok, message = client:Connect("localhost\0.no", port)
  equal(message, "")
  equal(ok, true)
  equal(client.Lasterror, 0)
  assert(client.LocalPort > 0)
  assert(not host.isOpen(before) or client.Handle == before) -- the constructor's descriptor is closed

  -- Zero type and protocol get defaults. A raw socket has no port, so the resolver refuses one.
  for _, row in ipairs({ { 0, 0, 1, 6 }, { 0, 17, 2, 17 }, { 2, 0, 2, 17 }, { 0, 1, 3, 1 }, { 0, 255, 3, 255 } }) do
    local some = stream()
    some.SocketType, some.Protocol = row[1], row[2]
    local connected, why = some:Connect("127.0.0.1", port)
    equal(connected, row[3] ~= 3, why)
    equal(some.SocketType, row[3])
    equal(some.Protocol, row[4])
    equal(some.AddressFamily, 2)
  end
end)

balanced("a connect that fails leaves everything as it was", function()
  local client, port = stream(), deaf()
  local function fails(name, wanted)
    local ok, message = nil, nil
    refused(client, -1, function() ok, message = client:Connect(name, port) end)
    equal(ok, false, name:sub(1, 20))
    equal(message:match(wanted), message)
  end
  fails("127.0.0.1", "Socket connect failed with error 111: Connection refused")
  for _, name in ipairs({ "no such host", "", ("x"):rep(65536), "1.2.3.4.5" }) do
    fails(name, "Failed to parse IP or resolve hostname: %a.*")
  end
  for _, bad in ipairs({ -1, 65536, (1 << 32) + 80, math.mininteger }) do
    refused(client, -1, function() client:Connect("127.0.0.1", bad) end,
      "UnsupportedOperationException: Invalid port number.")
  end
  for _, edge in ipairs({ 0, 1, 65535 }) do equal(client:Connect("127.0.0.1", edge), false) end -- and nothing is raised
end)

balanced("accepting into a new object, into a given one, and nothing", function()
  local listener, port = listening()
  local given, from, fromPort = stream(), nil, nil
  equal(refused(given, 7, function() -- the outcome is the listener's
    return refused(listener, EAGAIN, function()
      local none
      none, from, fromPort = listener:Accept("old", 7, given)
      return none
    end)
  end), nil)
  equal(from, "")
  equal(fromPort, 0)

  local first, second = stream(), stream()
  equal(first:Connect("127.0.0.1", port), true)
  equal(second:Connect("127.0.0.1", port), true)
  local peer
  peer, from, fromPort = listener:Accept(nil)
  equal(from, "127.0.0.1")
  equal(fromPort, first.LocalPort)
  equal(peer.AddressFamily, 0)
  outcome(peer, EAGAIN, peer:Read(1), nil) -- it does not wait
  assert(peer.Handle > 0)

  local old, same = given.Handle, nil
  same, from, fromPort = listener:Accept(given)
  equal(same, given)
  equal(fromPort, second.LocalPort)
  assert(given.Handle == old or not host.isOpen(old))

  -- Both ends carry bytes, and the accepted object is watched by the host.
  local got
  function peer:DataAvailable() got = self:ReadAll() end
  local hello = MemoryBlock("hello")
  equal(first:Send(hello, 5, MSG_NOSIGNAL), 5)
  wait(function() return got ~= nil end)
  equal(got:bytes(), "hello")

  -- The peer's end: readable without bytes.
  first:Close()
  local ended = false
  function peer:DataAvailable()
    outcome(self, -1, self:ReadAll(), nil)
    outcome(self, 0, self:Read(10), nil)
    ended = true
  end
  wait(function() return ended end)
end)

balanced("the number that a program closed comes back by the next accept, and stays open", function()
  local into = stream()
  local number = into.Handle
  local _, listener = support.connected()
  host.close(number)
  listener:Accept(into)
  equal(into.Handle, number)
  assert(host.isOpen(number))
  -- Without a socket the variables lose what they had.
  into:Close()
  local accepted, from, fromPort = into:Accept("old", 7, nil)
  equal(accepted, nil)
  equal(from .. fromPort, "0")
end)

balanced("connecting and binding by raw address", function()
  local listener, port = listening()
  local bound = RAWSocketVYN(2, 2, 17)
  equal(bound:Bind(address(0), 16), true)
  equal(bound.LocalIP, "127.0.0.1")
  outcome(bound, 0, bound:Connect(address(port), 16), true)
  for _, size in ipairs({ 0, 3, 15 }) do
    equal(refused(bound, EINVAL, function() return bound:Connect(address(port), size) end), false)
  end
  equal(refused(bound, EFAULT, function() return bound:Bind(nil, 16) end), false)
  refused(bound, EOPNOTSUPP, function() bound:Listen() end)
end)

balanced("bytes through a datagram socket", function()
  local receiver = RAWSocketVYN(2, 2, 17)
  receiver:Bind(0, "127.0.0.1")
  local port = receiver.LocalPort
  local sender = RAWSocketVYN(2, 2, 17)
  local block = MemoryBlock("0123456789")
  equal(sender:SendTo(block, 10, 0, address(port), 16), 10)
  equal(refused(sender, EINVAL, function() return sender:SendTo(block, 10, 0, address(port), 4) end), -1)
  support.arrived(receiver)
  equal(receiver:Read(1, true):bytes() .. receiver:Read(100, true):bytes(), "00123456789")
  equal(receiver:ReadAll(true):bytes(), "0123456789")
  equal(receiver:Read(4):bytes(), "0123") -- and the rest of the datagram is gone
  outcome(receiver, EAGAIN, receiver:Read(100), nil)
  for _, size in ipairs({ 0, -1, math.mininteger }) do
    equal(refused(receiver, -1, function() return receiver:Read(size) end), nil)
  end
  refused(receiver, -1, function() receiver:Read(1 << 62) end,
    "OutOfMemoryException: Failed to allocate 0 bytes of memory.")
  outcome(receiver, -1, receiver:ReadAll(), nil)

  -- A send of nothing on a connected socket counts as one.
  sender:Connect(address(port), 16)
  local completed = false
  function sender:SendComplete() completed = true end
  equal(sender:Send(block, 0), 0)
  sender:Poll()
  equal(completed, true)
  equal(refused(sender, EFAULT, function() return sender:Send(nil, 5) end), -1)
end)

balanced("a peer with a long name is no more than a record", function()
  local function named(name) -- in the abstract namespace: no file, and of this run's own
    local socket, own = RAWSocketVYN(1, 2, 0), MemoryBlock(("\1\0\0%.9f%s"):format(host.time(), name):sub(1, 110))
    outcome(socket, 0, socket:Bind(own, own.Size), true)
    return socket, own
  end
  local receiver, to = named("")
  equal(named(("n"):rep(110)):SendTo(MemoryBlock("x"), 1, 0, to, to.Size), 1)
  equal(receiver.LocalPort, -1) -- of another family
  equal(receiver.Lasterror, -1)
  equal(receiver:ReadDatagram().rawAddress.Size, 28)
end)

balanced("a pending error costs no data", function()
  local closed, probe = RAWSocketVYN(2, 2, 17), RAWSocketVYN(2, 2, 17)
  closed:Bind(0, "127.0.0.1")
  probe:Connect(address(closed.LocalPort), 16)
  closed:Close()
  local block = MemoryBlock("x")
  probe:Send(block, 1)
  wait(function() return probe.Lasterror ~= 0 or probe:Send(block, 1) == -1 end, "the answer that nobody is there")
  equal(probe.Lasterror, ECONNREFUSED)
  -- The error shows up once, whichever call meets it, and then it is gone.
  probe:Send(block, 1)
  host.sleep(0.05)
  outcome(probe, ECONNREFUSED, probe:ReadDatagram(), nil)
  outcome(probe, -1, probe:ReadDatagram(), nil)
end)

balanced("ReadDatagram on a stream eats nothing and waits for nothing", function()
  local client, listener = support.connected() -- blocking
  outcome(client, -1, client:ReadDatagram(), nil)
  local server = listener:Accept(nil)
  local block = MemoryBlock("stream")
  server:Send(block, 6)
  wait(function() return client.AvailableBytes == 6 end)
  local datagram = client:ReadDatagram()
  equal(datagram.Data, "stream")
  equal(datagram.Address, "")
  equal(datagram.Port, 0)
  equal(datagram.rawAddress, nil)
end)

balanced("ReadDatagram where none can be is no error of the system", function()
  local socket = stream()
  local own, pipe, writeEnd = socket.Handle, host.pipe()
  local unix, packets = host.socket(1, 1, 0), host.socket(1, 5, 0)
  for _, handle in ipairs({ own, pipe, unix, packets }) do
    socket.Handle = handle
    outcome(socket, -1, socket:ReadDatagram(), nil)
  end
  for _, handle in ipairs({ pipe, writeEnd, unix, packets }) do host.close(handle) end
  -- The error of a refused connect is left for whoever asks for it.
  socket.Handle = own
  socket:Connect(address(deaf()), 16)
  outcome(socket, -1, socket:ReadDatagram(), nil)
  equal(socket.SocketError, ECONNREFUSED)
end)
