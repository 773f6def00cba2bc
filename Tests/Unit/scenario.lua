-- One program over everything that the library offers, as a table of steps: what is done, and what a program sees of
-- it. The sweeps run it again and again, each time with one thing failing.
--
-- A step makes what it needs, so that any step may fail and the next ones still run. What it sees is text without
-- anything that changes from run to run.
local DATAGRAM, STREAM = 2, 1
local hosts, closed = host.udp(), host.udp() -- the host makes them before anything fails
closed:Close()

-- An answer, and what the operation left in Lasterror.
local function told(socket, answer)
  return ("%s (%d)"):format(answer, socket.Lasterror)
end

local function raw(kind) return RAWSocketVYN(2, kind, 0) end

-- The socket on a free loopback port, and that port.
local function bound(socket)
  local function check(what) if socket.Lasterror ~= 0 then error(told(socket, what), 0) end end
  socket:Bind(0, "127.0.0.1")
  check("not bound")
  local port = socket.LocalPort
  check("no port")
  return socket, port
end

local function waitFor(socket, bytes)
  host.run(function() return socket.AvailableBytes >= bytes end, 0.02)
end

local function words(socket, datagram)
  return told(socket, datagram and ("%s from %s, %d bytes of address"):format(datagram.Data, datagram.Address,
    #(datagram.rawAddress or "")))
end

local EVENTS = "DataAvailable event from 127.0.0.1, 16 bytes of address (0) SendComplete"

-- A step that sees the events of a socket which sends to itself.
local function eventsOf(make, read)
  return function()
    local socket, seen = make(), {}
    local _, port = bound(socket)
    function socket:DataAvailable() seen[1] = "DataAvailable " .. words(self, self[read](self)) end
    for _, event in ipairs({ "SendComplete", "Error" }) do
      socket[event] = function() seen[#seen + 1] = event end
    end
    socket:SendMessage("event", "127.0.0.1", port)
    for _ = 1, 3 do host.step() end
    return table.concat(seen, " ")
  end
end

local OPTIONS = { "TypeOfService", "TimeToLive", "MulticastTimeToLive", "MulticastLoop", "ReuseAddress", "ReusePort",
  "Broadcast", "SendBufferSize", "ReceiveBufferSize", "Type", "SocketError" }
local VALUES = { 1, 1, 1, true, true, true, true, 8192, 8192 }

steps = {
  { "new socket", function()
    local socket = UDPSocketVYN()
    return socket.AddressFamily, socket.SocketType, socket.Protocol, socket.Handle > 0
  end, "2 2 17 true" },

  { "bind and name", function()
    local socket = UDPSocketVYN()
    socket:Bind(0, "localhost")
    return told(socket, socket.BindAddress), told(socket, socket.LocalIP), told(socket, socket.LocalPort > 0),
      told(socket, socket:Bind(0, "not an address"))
  end, "localhost (0) 127.0.0.1 (-1) true (0) nil (-1)" },

  { "send and read", function()
    local receiver, port = bound(UDPSocketVYN())
    local sender = UDPSocketVYN()
    local sent = told(sender, sender:SendMessage("hello", "127.0.0.1", port))
    waitFor(receiver, 1)
    return sent, told(receiver, receiver.AvailableBytes), words(receiver, receiver:Read(true)),
      words(receiver, receiver:Read()), words(receiver, receiver:Read())
  end, "5 (0) 5 (0) hello from 127.0.0.1, 16 bytes of address (0) \z
    hello from 127.0.0.1, 16 bytes of address (0) nil (-1)" },

  { "send in other forms", function()
    local receiver, port = bound(UDPSocketVYN())
    local sender, datagram, seen = UDPSocketVYN(), DatagramVYN(), {}
    datagram.Address, datagram.Data, datagram.Port = "127.0.0.1", "record", port
    seen[1] = told(sender, sender:SendMessage(MemoryBlock("block\xFF"), "localhost", port))
    seen[2] = told(sender, sender:SendMessage(datagram))
    seen[3] = told(sender, sender:SendMessage("", "127.0.0.1", port))
    for i = 4, 6 do
      if i < 6 then waitFor(receiver, 1) end -- the last one is empty
      seen[i] = words(receiver, receiver:Read())
    end
    return table.unpack(seen)
  end, "6 (0) 6 (0) 0 (0) block\xFF from 127.0.0.1, 16 bytes of address (0) \z
    record from 127.0.0.1, 16 bytes of address (0) nil (-1)" },

  { "send to nobody", function()
    local socket = UDPSocketVYN()
    return told(socket, socket:SendMessage("x", "no such host", 9))
  end, "0 (-1)" },

  { "send to a bad port", function() return UDPSocketVYN():SendMessage("x", "127.0.0.1", 65536) end,
    "UnsupportedOperationException: Invalid port number." },

  { "send nothing", function() return UDPSocketVYN():SendMessage(nil) end, "NilObjectException: Datagram is nil" },

  { "events", eventsOf(UDPSocketVYN, "Read"), EVENTS },

  { "events of a raw socket", eventsOf(function() return raw(DATAGRAM) end, "ReadDatagram"), EVENTS },

  { "options", function()
    local socket, seen = UDPSocketVYN(), {}
    for i, name in ipairs(OPTIONS) do
      if VALUES[i] then
        socket[name] = VALUES[i]
        seen[#seen + 1] = told(socket, name)
      end
      seen[#seen + 1] = told(socket, socket[name])
    end
    return table.unpack(seen)
  end, "TypeOfService (0) 1 (0) TimeToLive (0) 1 (0) MulticastTimeToLive (0) 1 (0) MulticastLoop (0) true (0) \z
    ReuseAddress (0) true (0) ReusePort (0) true (0) Broadcast (0) true (0) SendBufferSize (0) 16384 (0) \z
    ReceiveBufferSize (0) 16384 (0) 2 (0) 0 (0)" },

  { "stream", function()
    local listener, port = bound(raw(STREAM))
    listener:Listen(2)
    local listening = told(listener, "listening")
    local client = raw(STREAM)
    local connected, message = client:Connect("localhost", port)
    local connecting = told(client, connected and "connected" or message)
    local peer, from = listener:Accept(nil)
    local accepting = told(listener, from)
    if not peer then return listening, connecting, accepting end
    local sent = told(client, client:Send(MemoryBlock("stream"), 6, 0x4000))
    waitFor(peer, 6)
    local function bytes(block) return told(peer, block and block:bytes()) end
    return listening, connecting, accepting, sent, bytes(peer:Read(3, true)), bytes(peer:ReadAll()),
      told(client, client.LocalIP), client:Close()
  end, "listening (0) connected (0) 127.0.0.1 (0) 6 (0) str (0) stream (0) 127.0.0.1 (-1)" },

  { "raw addresses", function()
    local function address(port) return MemoryBlock(string.pack("=I2>I2", 2, port) .. "\127\0\0\1" .. ("\0"):rep(8)) end
    local receiver, port = bound(raw(DATAGRAM))
    local sender = raw(DATAGRAM)
    local seen = told(sender, sender:Bind(address(0), 16))
    local connected = told(sender, sender:Connect(address(port), 16))
    local sent = told(sender, sender:SendTo(MemoryBlock("data"), 4, 0, address(port), 16))
    waitFor(receiver, 1)
    return seen, connected, sent, words(receiver, receiver:ReadDatagram())
  end, "true (0) true (0) 4 (0) data from 127.0.0.1, 16 bytes of address (0)" },

  { "no such family", function() return RAWSocketVYN(9999, 1, 0) end,
    "UnsupportedOperationException: The specified address family is not supported. \z
      (EAFNOSUPPORT: Address family not supported by protocol)" },

  { "helpers", function()
    return RAWSocketVYN.inet_ntoa(0x0100007F), RAWSocketVYN.inet_addr("1.2.3.4"),
      RAWSocketVYN.CalcChecksum(MemoryBlock("\1"), 1)
  end, "127.0.0.1 67305985 65534" },

  { "names", function()
    return DNSNameToAddressVYN("127.0.0.1"), DNSNameToAddressIPv6VYN("2001:db8:1:2:3:4:5:6"),
      DNSAddressToNameVYN("nonsense"), DNSAddressToNameIPv6VYN("nonsense"), "."
  end, "127.0.0.1 2001:db8:1:2:3:4:5:6   ." },

  { "extension without a socket", function() return closed:OptionTTLVYN() end,
    "UnsupportedFormatException: Failed to get socket handle" },

  -- The last two need what an emulator lacks.
  { "multicast", function()
    local socket = UDPSocketVYN()
    local group, interface = "239.1.2.3", "127.0.0.1"
    socket.MulticastInterface = interface
    return told(socket, "set"), told(socket, socket.MulticastInterface),
      told(socket, socket:AddMembership(group, interface)), told(socket, socket:DropMembership(group, interface))
  end, "set (0) 127.0.0.1 (0) nil (0) nil (0)" },

  { "extensions", function()
    hosts.OptionTTLVYN, hosts.OptionReusePortVYN = 9, true
    hosts:ClearOptionsVYN()
    return hosts:OptionTTLVYN(), hosts:OptionReusePortVYN(), hosts:OptionTypeVYN()
  end, "9 true 2" },
}

function host.onError() end -- of what a handler meets

-- Runs the step after the last one and lets its objects go. Answers what it saw, or the exception that ended it.
function run()
  last = last + 1
  local function text(ok, ...)
    if ok then return (("%s "):rep(select("#", ...))):format(...):sub(1, -2) end
    return type(...) == "table" and (...).class .. ": " .. (...).message or ...
  end
  local seen = text(pcall(steps[last][2]))
  host.collect()
  return seen
end
