-- What many sockets in one program cost: memory for each, and the time of one turn of the host's loop.
--
--   build/vynhost Benchmarks/scale.lua [LIMIT]      no more sockets than LIMIT; 10,000 when left out
--
-- Each socket gets one datagram and must have its event, exactly once. Then all are quiet, and the turns are timed:
-- a turn polls every socket. The exit status is 1 unless every event came and a socket of the last row costs at most
-- twice the time of one of the row before; growth with the square would make it ten times. Memory is that of the
-- process: Lua's and the host's share included.
-- As many descriptors must be allowed (ulimit -n), or the table ends earlier and says so.

local LIMIT = math.tointeger(tonumber((...) or 10000)) or error("usage: scale.lua [LIMIT]", 0)
local BURST = 100 -- datagrams in flight; each goes to another socket
local ALLOWED_GROWTH = 2

local function memory()
  host.collect()
  local file <close> = assert(io.open("/proc/self/status"))
  return tonumber(file:read("a"):match("VmRSS:%s*(%d+)"))
end

local sender = UDPSocketVYN()
local sockets, fired = {}, {}

-- Up to that many sockets; false when the system allows no more.
local function grow(count)
  for i = #sockets + 1, count do
    local made, socket = pcall(UDPSocketVYN)
    if not made then
      return false
    end
    socket:Bind(0, "127.0.0.1")
    if socket.Lasterror ~= 0 then
      error("Bind: system error " .. socket.Lasterror, 0)
    end
    fired[i] = 0
    socket.DataAvailable = function(self)
      fired[i] = fired[i] + 1
      self:Read()
    end
    sockets[i] = socket
  end
  return true
end

-- One datagram to each; answers how many sockets had other than one event.
local function missing()
  for i = 1, #sockets do
    fired[i] = 0
  end
  for i, socket in ipairs(sockets) do
    sender:SendMessage("x", "127.0.0.1", socket.LocalPort)
    if i % BURST == 0 or i == #sockets then
      host.step()
      host.step()
    end
  end
  local wrong = 0
  for i = 1, #sockets do
    wrong = wrong + (fired[i] ~= 1 and 1 or 0)
  end
  return wrong
end

-- Microseconds of the action: the fastest of several rounds, for what else the machine does is no part of it.
local function microseconds(times, action)
  local fastest = math.huge
  for _ = 1, 20 do
    local started = host.time()
    for _ = 1, times do
      action()
    end
    fastest = math.min(fastest, (host.time() - started) / times)
  end
  return fastest * 1e6
end

-- The last column is one socket alone, that with the highest descriptor, polled again and again: how much of the
-- growth comes from the descriptor's number. The rest comes from the number of sockets: their memory leaves the caches.
print("| sockets | without their event | a quiet turn, us | for each, us | memory for each, KiB | the last alone, us |")
print("|--:|--:|--:|--:|--:|--:|")
local failed, previous, growth = false, nil, nil
local empty = memory()
for _, count in ipairs({ 10, 100, 1000, 10000 }) do
  if count > LIMIT then
    break
  end
  if not grow(count) then
    print(("not more than %d sockets: the limit of open files (ulimit -n) ends it there"):format(#sockets))
    break
  end
  local used, wrong, last = memory() - empty, missing(), sockets[count]
  local each = microseconds(math.max(1, 2000 // count), host.step) / count
  local alone = microseconds(1000, function() last:Poll() end)
  print(("| %d | %d | %.1f | %.3f | %.2f | %.3f |"):format(count, wrong, each * count, each, used / count, alone))
  failed = failed or wrong > 0
  growth = previous and each / previous
  previous = each
end
if growth then
  local linear = growth <= ALLOWED_GROWTH
  print(("the time of a turn grows %s the number of sockets: a socket costs %.2f times what it costs in the row before")
    :format(linear and "with" or "faster than", growth))
  failed = failed or not linear
end
if failed then
  error("scale: failed", 0)
end
