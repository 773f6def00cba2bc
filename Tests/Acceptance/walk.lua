-- A random walk: many sockets of all kinds, whose handlers and whose program close, replace, duplicate, destroy and raise
-- as it comes. Nothing crashes or waits, and in the end every reference and every descriptor is back.
--   vynhost walk.lua [SECONDS [SEED]]
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))

local seconds, seed = tonumber((...)) or 1, tonumber((select(2, ...))) or os.time()
math.randomseed(seed)
local random = math.random
local WITHOUT_WAITING_OR_SIGNAL = 0x4040
host.onError = function() end -- of handlers that raise, which some are to do

-- Streams and datagram sockets keep to themselves: a send on a stream whose peer is gone would end the process.
local datagrams, streams = {}, {}
local act

local function pick(pool)
  return pool[random(#pool)]
end

local function isOpen(handle)
  return handle > 2 and handle < 1 << 31 and host.isOpen(handle)
end

local raw = setmetatable({}, { __mode = "k" }) -- the sockets that are RAWSocketVYN

local function read(socket, peek)
  if raw[socket] then return socket:ReadDatagram(peek) end
  return socket:Read(peek)
end

local function watch(socket)
  for _, event in ipairs({ "DataAvailable", "SendComplete", "Error" }) do
    if random(2) == 1 then
      socket[event] = function(self)
        if random(3) == 1 then act() end
        if random(3) > 1 and event == "DataAvailable" then
          if raw[self] and random(2) == 1 then self:ReadAll() else read(self, false) end
        end
        if random(20) == 1 then host.exception("RuntimeException", "from the handler", 1) end
      end
    end
  end
  return socket
end

local function datagramSocket()
  local isRaw = random(2) == 1
  local socket = isRaw and RAWSocketVYN(2, 2, 17) or UDPSocketVYN()
  raw[socket] = isRaw or nil
  socket:Bind(0, "127.0.0.1")
  return watch(socket)
end

local function streamSocket()
  local socket = RAWSocketVYN(2, 1, 6)
  raw[socket] = true
  socket:Bind(0, "127.0.0.1")
  if random(2) == 1 then socket:Listen() end
  return watch(socket)
end

local actions = {
  function() datagrams[random(25)] = datagramSocket() end, -- the one before is destroyed, perhaps while it is polled
  function() streams[random(25)] = streamSocket() end,
  function() pick(datagrams):SendMessage("x", "127.0.0.1", pick(datagrams).LocalPort) end,
  function() pick(datagrams):SendMessage(MemoryBlock(("y"):rep(random(2000))), "localhost", pick(datagrams).LocalPort) end,
  function()
    local datagram = read(pick(datagrams), random(2) == 1)
    if datagram then pick(datagrams):SendMessage(datagram) end
  end,
  function() pick(random(2) == 1 and streams or datagrams):Poll() end,
  function() pick(datagrams):Bind(random(0), "localhost") end, -- most of these numbers are no port
  function() pick(datagrams)[pick({ "SendBufferSize", "ReceiveBufferSize", "SocketType" })] = random(0) end,
  function() host.step() end,
  function() pick(streams):Close() end,
  function() -- by name it would wait for a listener whose queue is full
    local address = MemoryBlock(string.pack("=I2>I2", 2, pick(streams).LocalPort) .. "\127\0\0\1" .. ("\0"):rep(8))
    pick(streams):Connect(address, 16)
  end,
  function() pick(streams):Accept(random(2) == 1 and pick(streams) or nil) end,
  function() pick(streams):Send(MemoryBlock("stream"), 6, WITHOUT_WAITING_OR_SIGNAL) end,
  function() pick(streams):ReadAll() end,
  function() -- the same descriptor behind two numbers
    local one, other = pick(datagrams).Handle, pick(datagrams).Handle
    if isOpen(one) and isOpen(other) then host.dup(one, other) end
  end,
  function() -- its number is somebody else's, or nobody's
    local one, other = pick(datagrams), pick(datagrams)
    one.Handle, other.Handle = other.Handle, one.Handle
  end,
  function()
    local socket = pick(datagrams)
    if isOpen(socket.Handle) then host.close(socket.Handle) end
    socket.Handle = ({ 0, -1, 70000, 1 << 40 })[random(5)] or host.socket(2, 2, 17)
  end,
}

-- What a port of -1 brings, and what some handlers do. What else fails is a fault.
local EXPECTED = { "Invalid port number.", "from the handler" }
local surprises = {}

function act()
  local ok, failure = pcall(actions[random(#actions)])
  if ok then return end
  local text = type(failure) == "string" and failure or failure.class .. ": " .. failure.message
  for _, expected in ipairs(EXPECTED) do
    if text:find(expected, 1, true) then return end
  end
  surprises[#surprises + 1] = text
end

support.balanced("a walk of " .. seconds .. " s by seed " .. seed, function()
  for i = 1, 25 do datagrams[i], streams[i] = datagramSocket(), streamSocket() end
  local steps, finish = 0, os.clock() + seconds
  while os.clock() < finish do
    act()
    steps = steps + 1
  end
  for i = 1, 25 do datagrams[i], streams[i] = nil, nil end
  support.equal(table.concat(surprises, "\n"), "", "failures")
  assert(steps > 100 * seconds, "it got stuck: " .. steps .. " steps")
end)
