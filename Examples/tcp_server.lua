-- A TCP server that answers every line in capitals.
--
--   ./run Examples/tcp_server.lua 5001
--   socat - TCP4:127.0.0.1:5001
--
-- Arguments: the port, and how many connections to serve (until stopped when left out).

local port, connections = ...
port, connections = tonumber(port), tonumber(connections)
if not port then
  error("usage: tcp_server.lua PORT [CONNECTIONS]", 0)
end

local listener = RAWSocketVYN(RAWSocketVYN.AddressFamilyINet, RAWSocketVYN.SocketTypeStream, RAWSocketVYN.ProtocolTCP)
listener.ReuseAddress = true -- a port may be taken again right after the last server left it
listener:Bind(port, "127.0.0.1")
if listener.Lasterror ~= 0 then
  error("can't bind the port: " .. host.errorText(listener.Lasterror), 0)
end
listener:Listen()

local MSG_NOSIGNAL = 0x4000 -- a peer that has gone is an error then, not a signal
local peers, served = {}, 0

local function serve(peer, address, peerPort)
  peers[peer] = true
  print(("connection from %s:%d"):format(address, peerPort))

  function peer:DataAvailable()
    local bytes = self:Read(65536)
    if bytes then
      local answer = MemoryBlock(bytes:bytes():upper())
      self:Send(answer, answer.Size, MSG_NOSIGNAL)
      return
    end
    -- Readable without bytes: the peer has closed.
    print(("%s:%d left"):format(address, peerPort))
    self:Close()
    peers[self] = nil
    served = served + 1
  end
end

-- A listening socket is readable when a connection waits.
function listener:DataAvailable()
  local peer, address, peerPort = self:Accept(nil)
  if peer then
    serve(peer, address, peerPort)
  end
end

print("TCP server on 127.0.0.1:" .. listener.LocalPort)
io.stdout:flush()
host.run(function() return connections and served >= connections end, math.huge)
