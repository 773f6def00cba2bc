-- A random walk: fifty sockets of all kinds, whose handlers and whose program close, replace, duplicate, destroy and
-- raise as it comes. Nothing crashes or waits, and in the end every reference and every descriptor is back.
--   vynhost walk.lua [SECONDS [SEED]]
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))

local seconds, seed = tonumber((...)) or 1, tonumber((select(2, ...))) or os.time()
math.randomseed(seed)
local random = math.random
host.ignoreBrokenPipes() -- of a send on a stream whose peer is gone
host.onError = function() end -- of handlers that raise, which some are to do

local udps, raws, act = {}, {}, nil

local function pick(list) return list[random(#list)] end
local function any() return pick(pick({ udps, raws })) end
local function isOpen(handle) return handle > 2 and handle < 1 << 31 and host.isOpen(handle) end

local function bound(socket, read)
  socket:Bind(0, "127.0.0.1")
  for _, event in ipairs({ "DataAvailable", "SendComplete", "Error" }) do
    socket[event] = random(2) == 1 and function(self)
      if random(3) == 1 then act() end
      if random(3) > 1 and event == "DataAvailable" then read(self) end
      if random(20) == 1 then host.exception("RuntimeException", "from the handler", 1) end
    end or nil
  end
  return socket
end

local function udp()
  return bound(UDPSocketVYN(), function(self) self:Read() end)
end

local function raw()
  local kind = random(4) == 1 and 2 or 1 -- most of them streams
  local socket = bound(RAWSocketVYN(2, kind, 0), function(self) pick({ self.ReadAll, self.ReadDatagram })(self) end)
  if kind == 1 and random(2) == 1 then socket:Listen() end
  return socket
end

local actions = {
  function() udps[random(25)] = udp() end, -- the one before is destroyed, perhaps while it is polled
  function() raws[random(25)] = raw() end,
  function() any():SendMessage("x", "127.0.0.1", any().LocalPort) end,
  function() any():SendMessage(MemoryBlock(("y"):rep(random(2000))), "localhost", any().LocalPort) end,
  function()
    local datagram = pick(udps):Read(random(2) == 1)
    if datagram then any():SendMessage(datagram) end
  end,
  function() any():Poll() end,
  function() any():Bind(random(0), "localhost") end, -- most of these numbers are no port
  function() any()[pick({ "SendBufferSize", "ReceiveBufferSize", "SocketType" })] = random(0) end,
  function() host.step() end,
  function() pick(raws):Close() end,
  function() -- by name it would wait for a listener whose queue is full
    pick(raws):Connect(support.address(math.max(pick(raws).LocalPort, 0)), 16)
  end,
  function() pick(raws):Accept(random(2) == 1 and pick(raws) or nil) end,
  function() pick(raws):Send(MemoryBlock("stream"), 6, 0) end,
  function() pick(raws):ReadAll(random(2) == 1) end,
  function() -- the same descriptor behind two numbers
    local one, other = any().Handle, any().Handle
    if isOpen(one) and isOpen(other) then host.dup(one, other) end
  end,
  function() -- its number is somebody else's, or nobody's
    local one, other = any(), any()
    one.Handle, other.Handle = other.Handle, one.Handle
  end,
  function()
    local socket = any()
    if isOpen(socket.Handle) then host.close(socket.Handle) end
    socket.Handle = ({ 0, -1, 70000, 1 << 40 })[random(5)] or host.socket(2, 2, 17)
  end,
}

-- Most numbers are not valid ports, and some handlers raise. Any other failure is a fault.
local EXPECTED = { ["Invalid port number."] = true, ["from the handler"] = true }
local surprises = {}

function act()
  local ok, failure = pcall(pick(actions))
  if not ok and not EXPECTED[failure.message] then surprises[#surprises + 1] = tostring(failure) end
end

support.balanced("a walk of " .. seconds .. " s by seed " .. seed, function()
  for i = 1, 25 do udps[i], raws[i] = udp(), raw() end
  local steps, finish = 0, os.clock() + seconds
  while os.clock() < finish do
    act()
    steps = steps + 1
  end
  for i = 1, 25 do udps[i], raws[i] = nil, nil end
  support.equal(table.concat(surprises, "\n"), "", "failures")
  assert(steps > 100 * seconds, "it got stuck: " .. steps .. " steps")
end)
