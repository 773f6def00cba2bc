-- Sends datagrams of 0 to 65,507 bytes to a socket of the same program and checks each that arrives.
--
--   build/vynhost Benchmarks/soak.lua [COUNT]       COUNT is 10,000,000 when left out
--
-- The size and the bytes of datagram number n follow from n, and the bytes begin with n. So the receiving side knows
-- which datagram must come next, and after a gap where it goes on. At most 200 small datagrams or one large one are in
-- flight: the system may drop more. The exit status is 0 if none was lost, none was wrong, each burst had one
-- SendComplete, and neither references nor memory grew after the warm-up; else 1.

local COUNT = math.tointeger(tonumber((...) or 10000000)) or error("usage: soak.lua [COUNT]", 0)
local WARM_UP = math.min(COUNT // 2, 2000000) -- the host keeps what was released for a while
local SMALL, LARGEST, IN_FLIGHT = 200, 65507, 200
local GROWTH_ALLOWED = 1024 -- KiB of pages; a byte that leaks a datagram makes 10 times as much in a full run

-- Every 201st is a large one, so that each burst of 200 small ones is followed by one large one.
local function isLarge(n)
  return n % (IN_FLIGHT + 1) == 0
end

-- A number that looks random and is the same in each run.
local function scattered(n)
  n = (n ~ n >> 31) * 0x7FB5D329728EA185
  n = (n ~ n >> 27) * 0x81DADEF4BC2DD44D
  return (n ~ n >> 33) & math.maxinteger
end

local bytes = {}
for i = 1, 2 * LARGEST // 8 + 1 do
  bytes[i] = string.pack("<i8", scattered(i))
end
local pattern = table.concat(bytes)

local function contents(n)
  local size = isLarge(n) and scattered(n) % (LARGEST + 1) or scattered(n) % (SMALL + 1)
  local from = scattered(n + COUNT) % LARGEST
  return (string.pack("<i8", n) .. pattern:sub(from + 1, from + size)):sub(1, size)
end

local receiver, sender = UDPSocketVYN(), UDPSocketVYN()
receiver:Bind(0, "127.0.0.1")
local port = receiver.LocalPort
local sent, awaited = 0, 1 -- the last number sent, and the next to come
local lost, wrong = 0, 0

-- Another datagram than the awaited one came: a later one, because others are lost, or one that was never sent.
local function notAwaited(data)
  local n = #data >= 8 and string.unpack("<i8", data) or 0
  if n > awaited and n <= sent and data == contents(n) then
    lost = lost + n - awaited
    awaited = n + 1
  else
    wrong = wrong + 1
  end
end

function receiver:DataAvailable()
  local datagram = self:Read() -- nil is an empty one
  local data = datagram and datagram.Data or ""
  if awaited <= sent and data == contents(awaited) and (not datagram or datagram.Length == #data) then
    awaited = awaited + 1
  else
    notAwaited(data)
  end
end

local bursts, completed = 0, 0
function sender:SendComplete()
  completed = completed + 1
end

local function send()
  local data = contents(sent + 1)
  sent = sent + 1
  if sender:SendMessage(data, "127.0.0.1", port) ~= #data or sender.Lasterror ~= 0 then
    error(("datagram %d of %d bytes: system error %d"):format(sent, #data, sender.Lasterror), 0)
  end
end

local function allCame()
  return awaited > sent
end

-- Sends small datagrams up to the next large one, or the large one, and reads all of them.
local function burst()
  bursts = bursts + 1
  repeat
    send()
  until sent >= COUNT or isLarge(sent) or isLarge(sent + 1)
  for _ = 1, IN_FLIGHT do
    host.step()
  end
  if not allCame() and not host.run(allCame, 2.0) then
    lost = lost + sent + 1 - awaited
    awaited = sent + 1
  end
end

local function memory()
  host.collect()
  local file <close> = assert(io.open("/proc/self/status"))
  return tonumber(file:read("a"):match("VmRSS:%s*(%d+)")), table.concat({ host.references() }, ", ")
end

local _, terminal = pcall(function() return os.execute("test -t 1") end)
local started, shown = host.time(), 0

local function show()
  local now = host.time()
  if terminal and now - shown >= 1 then
    shown = now
    local rate = sent / (now - started)
    io.write(("\r%d of %d, %.0f a second, %.0f s left, %d lost, %d wrong "):format(sent, COUNT, rate,
      (COUNT - sent) / rate, lost, wrong))
    io.stdout:flush()
  end
end

local warmMemory, warmReferences
while sent < COUNT do
  burst()
  show()
  if not warmMemory and sent >= WARM_UP then
    warmMemory, warmReferences = memory()
  end
end
local endMemory, endReferences = memory()
local seconds = host.time() - started
local balanced = warmReferences == endReferences

print((terminal and "\r" or "") .. ("%d datagrams in %.1f s, %.0f a second: %d lost, %d wrong"):format(sent, seconds,
  sent / seconds, lost, wrong))
print(("SendComplete: %d for %d bursts"):format(completed, bursts))
print(("memory after %d datagrams and at the end: %d and %d KiB"):format(WARM_UP, warmMemory, endMemory))
print(("live strings, objects and memory blocks: %s and %s"):format(warmReferences, endReferences))
if lost + wrong > 0 or completed ~= bursts or not balanced or endMemory > warmMemory + GROWTH_ALLOWED then
  error("soak: failed", 0)
end
