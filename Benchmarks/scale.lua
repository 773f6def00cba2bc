-- The cost of many sockets in one program on the stand-in host: memory for each, and the share of a core when idle.
--
--   build/vynhost Benchmarks/scale.lua [LIMIT]      no more sockets than LIMIT; 10,000 when left out
--
-- Each socket gets one datagram and must have its event exactly once; otherwise the exit status is 1. Then all are
-- quiet. Memory is that of the process, with Lua's and the host's share. The system must allow as many descriptors
-- (ulimit -n); otherwise the table ends earlier and says so.

local LIMIT = math.tointeger(tonumber((...) or 10000)) or error("usage: scale.lua [LIMIT]", 0)
local BURST = 100 -- datagrams in flight; each goes to another socket

local function memory()
  host.collect()
  local file <close> = assert(io.open("/proc/self/status"))
  return tonumber(file:read("a"):match("VmRSS:%s*(%d+)"))
end

local sender = UDPSocketVYN()
local sockets, fired = {}, {}

-- Opens sockets up to this count; false when the system allows no more.
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

-- Sends one datagram to each. Result: how many sockets did not have exactly one event.
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

-- Percents of a core that the host's loop takes while nothing happens: it polls every socket, rests for a millisecond
-- and begins again.
local function idle()
  local before = os.clock()
  host.run(function() return false end, 1)
  return 100 * (os.clock() - before)
end

print("| sockets | without their event | memory for each, KiB | idle, % of a core |")
print("|--:|--:|--:|--:|")
local failed = false
local empty = memory()
for _, count in ipairs({ 10, 100, 1000, 10000 }) do
  if count > LIMIT then
    break
  end
  if not grow(count) then
    print(("not more than %d sockets: the limit of open files (ulimit -n) ends it there"):format(#sockets))
    break
  end
  local used, wrong = memory() - empty, missing()
  print(("| %d | %d | %.2f | %.0f |"):format(count, wrong, used / count, idle()))
  failed = failed or wrong > 0
end
if failed then
  error("scale: failed", 0)
end
