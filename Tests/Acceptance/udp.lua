-- UDPSocketVYN: creating, binding, naming, sending and reading.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, outcome, refused = support.equal, support.outcome, support.refused
local balanced, bound = support.balanced, support.bound

local EACCES, EINVAL, EMSGSIZE = 13, 22, 90
local BAD_PORT = "UnsupportedOperationException: Invalid port number."
local BAD_PORTS = { -1, 65536, (1 << 32) + 80, math.mininteger, math.maxinteger }

balanced("binding", function()
  local socket = UDPSocketVYN()
  for _, port in ipairs(BAD_PORTS) do
    refused(socket, -1, function() socket:Bind(port) end, BAD_PORT)
  end
  for _, address in ipairs({ "no host", "1.2.3", "::1", " 127.0.0.1", ("x"):rep(65536), "127.0.0.1.5" }) do
    refused(socket, -1, function() socket:Bind(0, address) end)
  end
  outcome(socket, 0, socket:Bind(0, "LocalHost"))
  equal(socket.BindPort, 0)
  equal(socket.BindAddress, "LocalHost")
  equal(socket.LocalIP, "127.0.0.1")
  equal(socket.Lasterror, -1, "Lasterror after LocalIP")
  assert(socket.LocalPort > 0)
  equal(socket.Lasterror, 0, "Lasterror after LocalPort")
  refused(socket, EINVAL, function() socket:Bind(1234, "127.0.0.1") end)

  -- Another socket in the same object can be bound again, here to the last port of an address of this run's own; the
  -- address kept before is released.
  local other, own = UDPSocketVYN(), ("127.1.%d.%d"):format(socket.LocalPort >> 8, socket.LocalPort & 255)
  socket.Handle, other.Handle = other.Handle, socket.Handle
  outcome(socket, 0, socket:Bind(65535, own))
  equal(socket.BindAddress .. ":" .. socket.BindPort, own .. ":65535")
  equal(socket.LocalIP .. ":" .. socket.LocalPort, own .. ":65535")

  local any = UDPSocketVYN()
  any:Bind(0)
  equal(any.LocalIP, "0.0.0.0")
  equal(any.BindAddress, "")
  -- An embedded zero byte ends the text.
  local cut = UDPSocketVYN()
  cut:Bind(0, "127.0.0.1\0.5")
  equal(cut.LocalIP, "127.0.0.1")
end)

balanced("an IPv6 socket in place of its own", function()
  local socket = UDPSocketVYN()
  host.close(socket.Handle)
  socket.Handle = host.socket(10, 2, 17)
  socket.AddressFamily = 10
  socket:Bind(0, "localhost")
  if socket.Lasterror == 99 then return print("skipped: this machine has no IPv6 loopback") end
  equal(socket.LocalIP, "::1")
  local sender = host.udp()
  local raw = RAWSocketVYN(10, 2, 17)
  local address = MemoryBlock(string.pack("=I2>I2I4", 10, socket.LocalPort, 0) .. ("\0"):rep(15) .. "\1\0\0\0\0")
  local hello = MemoryBlock("hello")
  equal(raw:SendTo(hello, 5, 0, address, 28), 5)
  support.arrived(socket)
  local datagram = socket:Read()
  equal(datagram.Address, "::1")
  equal(datagram.Port, raw.LocalPort)
  equal(datagram.rawAddress.Size, 28)
end)

balanced("sending and reading", function()
  local receiver, port = bound()
  local sender, senderPort = bound()
  equal(refused(receiver, -1, function() return receiver:Read() end), nil)
  outcome(receiver, 0, receiver.AvailableBytes, 0)

  local payloads = { "a", "caf\xC3\xA9", "\xFF\0\xFE", ("x"):rep(1000), ("\x80y"):rep(30000), ("z"):rep(65507) }
  for _, payload in ipairs(payloads) do
    outcome(sender, 0, sender:SendMessage(payload, "127.0.0.1", port), #payload)
    support.arrived(receiver)
    equal(receiver.AvailableBytes, #payload)
    local peeked, datagram = receiver:Read(true), receiver:Read()
    for _, one in ipairs({ peeked, datagram }) do
      assert(one.Data == payload, "payload of " .. #payload)
      equal(one.Length, #payload)
      equal(one.Address, "127.0.0.1")
      equal(one.Port, senderPort)
      equal(one.rawAddress:bytes(), string.pack("=I2>I2", 2, senderPort) .. "\127\0\0\1" .. ("\0"):rep(8))
    end
    equal(receiver.Lasterror, 0)
    equal(receiver:Read(), nil)
  end

  local block = MemoryBlock("\0\1\2\3")
  equal(sender:SendMessage(block, "localhost\0.no", port), 4) -- by name, which ends at a zero byte
  outcome(sender, 0, sender:SendMessage(MemoryBlock(""), "127.0.0.1", port), 0)
  local datagram = DatagramVYN()
  datagram.Address, datagram.Port, datagram.Data, datagram.Length = "127.0.0.1\0.5", port, "filled", 99
  equal(sender:SendMessage(datagram), 6)
  support.arrived(receiver)
  equal(receiver:Read().Data, "\0\1\2\3")
  equal(receiver:Read(), nil) -- the empty one
  support.arrived(receiver)
  equal(receiver:Read().Data, "filled")
end)

balanced("an empty datagram goes with the first read and blocks nothing", function()
  local receiver, port = bound()
  local sender = UDPSocketVYN()
  for _, text in ipairs({ "", "a", "", "" }) do
    outcome(sender, 0, sender:SendMessage(text, "127.0.0.1", port), #text)
  end
  host.sleep(0.05)
  equal(receiver:Read(true), nil) -- a peek leaves it
  equal(receiver:Read(true), nil)
  outcome(receiver, -1, receiver:Read(), nil)
  equal(receiver:Read().Data, "a")
  equal(receiver:Read(), nil)
  equal(receiver:Read(), nil)
  equal(receiver:Read(), nil)
  sender:SendMessage("b", "127.0.0.1", port)
  support.arrived(receiver)
  equal(receiver:Read().Data, "b")
end)

balanced("sends that are refused", function()
  local socket = UDPSocketVYN()
  local datagram = DatagramVYN()
  for _, port in ipairs(BAD_PORTS) do
    datagram.Port = port
    refused(socket, -1, function() socket:SendMessage("x", "127.0.0.1", port) end, BAD_PORT)
    refused(socket, -1, function() socket:SendMessage(datagram) end, BAD_PORT)
  end
  socket:Bind(0, "127.0.0.1")
  for _, name in ipairs({ "", "no such host", ("x"):rep(65536), "1.2.3.4.5", "127.0.0.:", "127.0.0.1:" }) do
    equal(refused(socket, -1, function() return socket:SendMessage("x", name, 9) end), 0, name:sub(1, 20))
  end
  refused(socket, -1, function() socket:SendMessage(nil) end, "NilObjectException: Datagram is nil")
  for _, row in ipairs({ { EINVAL, "x", "127.0.0.1", 0 }, { EACCES, "x", "255.255.255.255", 9 },
    { EMSGSIZE, ("x"):rep(65508), "127.0.0.1", 9 } }) do
    equal(refused(socket, row[1], function() return socket:SendMessage(table.unpack(row, 2)) end), -1)
  end
  for _, port in ipairs({ 1, 65535 }) do outcome(socket, 0, socket:SendMessage("x", "127.0.0.1", port), 1) end
  -- What inet_addr takes is taken: fewer parts, octal and hexadecimal ones.
  local receiver, port = bound()
  for _, address in ipairs({ "127.1", "0177.0.0.1", "0x7f.1", "2130706433" }) do
    equal(socket:SendMessage("x", address, port), 1, address)
    support.arrived(receiver)
    equal(receiver:Read().Data, "x")
  end
end)

balanced("a descriptor is closed once, and only when it is the socket's", function()
  for method, make in pairs({ Destructor = UDPSocketVYN, Close = function() return RAWSocketVYN(2, 2, 17) end }) do
    local socket = make()
    local handle = socket.Handle
    socket[method](socket)
    equal(socket.Handle, 0)
    equal(host.open("/dev/null", "r"), handle) -- the system gives the number away again
    socket[method](socket)
    socket = nil
    host.collect()
    assert(host.isOpen(handle))
    host.close(handle)
  end
end)
