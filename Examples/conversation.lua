-- Two sockets of one program talk to each other, driven by events.
--
-- "ping" counts, "pong" answers each number; then one datagram of 60,000 bytes goes across. Nothing here
-- waits: host.run is the host's own loop, which polls every socket and calls the handlers below.

local ROUNDS = 5
local LARGE = 60000

local ping, pong = UDPSocketVYN(), UDPSocketVYN()
ping:Bind(0, "localhost") -- port 0: any free one
pong:Bind(0, "localhost")
print(("ping is 127.0.0.1:%d, pong is 127.0.0.1:%d"):format(ping.LocalPort, pong.LocalPort))

local finished = false
local completed = 0

-- Every operation tells its outcome in Lasterror: 0, or the number of a system error.
local function send(socket, text, port)
  local sent = socket:SendMessage(text, "127.0.0.1", port)
  assert(sent == #text and socket.Lasterror == 0, host.errorText(socket.Lasterror))
end

function pong:DataAvailable()
  local looked = self:Read(true) -- peek: the datagram stays queued
  local datagram = self:Read()
  assert(looked.Data == datagram.Data)
  if datagram.Length == LARGE then
    print(("pong got %d bytes in one datagram from %s:%d"):format(datagram.Length, datagram.Address, datagram.Port))
    finished = true
    return
  end
  print(("pong got '%s' from %s:%d"):format(datagram.Data, datagram.Address, datagram.Port))
  send(self, datagram.Data:gsub("ping", "pong"), datagram.Port)
end

function ping:DataAvailable()
  local datagram = self:Read()
  print(("ping got '%s'"):format(datagram.Data))
  local round = tonumber(datagram.Data:match("%d+"))
  if round < ROUNDS then
    send(self, "ping " .. round + 1, datagram.Port)
  else
    send(self, ("x"):rep(LARGE), datagram.Port)
  end
end

-- Comes once the system can take more, after one or several sends.
function ping:SendComplete()
  completed = completed + 1
end

send(ping, "ping 1", pong.LocalPort)
host.run(function() return finished end, 10.0)
assert(finished, "the conversation did not end in time")

-- With nothing queued a read gives nil, and Lasterror -1: no system call failed.
assert(ping:Read() == nil and ping.Lasterror == -1)
print(("SendComplete came %d times; Lasterror is %d with nothing to read"):format(completed, ping.Lasterror))

ping, pong = nil, nil
host.collect()
print(("live references: %d strings, %d objects, %d memory blocks"):format(host.references()))
