-- Sends 5 MB over UDP although one datagram in ten is lost: numbered blocks, acknowledgements, a window.
--
--   ./run Examples/file_transfer.lua [WINDOW]
--
-- Both sides run in this program, and throw datagrams away by lot. WINDOW is how many blocks may be on their way (64);
-- with 1 the sender stops and waits for each, which costs at least a turn of the host's loop a block.

local SIZE, BLOCK, LOSS, TIMEOUT = 5000000, 1400, 0.1, 0.02
local window = tonumber((...)) or 64

local function lost()
  return math.random() < LOSS
end

-- The file, and its blocks: a number of four bytes, then what belongs there.
local pieces = {}
for i = 1, SIZE // 8 do
  pieces[i] = string.pack(">I8", i * 2654435761)
end
local file = table.concat(pieces)
local last = (#file + BLOCK - 1) // BLOCK

local function block(number)
  return string.pack(">I4", number) .. file:sub((number - 1) * BLOCK + 1, number * BLOCK)
end

-- The receiver keeps what is new and acknowledges everything: the acknowledgement of the first one may be lost.
local receiver, received, kept = UDPSocketVYN(), {}, 0
receiver:Bind(0, "localhost")
local port = receiver.LocalPort

function receiver:DataAvailable()
  for datagram in function() return self:Read() end do
    if not lost() then
      local number = string.unpack(">I4", datagram.Data)
      if not received[number] then
        received[number], kept = datagram.Data:sub(5), kept + 1
      end
      self:SendMessage(datagram.Data:sub(1, 4), datagram.Address, datagram.Port)
    end
  end
end

-- The sender knows when each block that is on its way was sent.
local sender, sentAt, inFlight, sends, following = UDPSocketVYN(), {}, 0, 0, 1

function sender:DataAvailable()
  for datagram in function() return self:Read() end do
    local number = string.unpack(">I4", datagram.Data)
    if not lost() and sentAt[number] then
      sentAt[number], inFlight = nil, inFlight - 1
    end
  end
end

local function send(number)
  sender:SendMessage(block(number), "127.0.0.1", port)
  sentAt[number], sends = host.time(), sends + 1
end

-- What has no acknowledgement after a time is sent again.
host.every(TIMEOUT / 2, function()
  local now = host.time()
  for number, time in pairs(sentAt) do
    if now - time > TIMEOUT then
      send(number)
    end
  end
end)

-- Runs before each turn of the loop; true when all is acknowledged.
local function pump()
  while inFlight < window and following <= last do
    send(following)
    following, inFlight = following + 1, inFlight + 1
  end
  return inFlight == 0
end

local started = host.time()
assert(host.run(pump, 60.0), "the transfer did not end in time")
assert(table.concat(received) == file, "the file differs")
local seconds = host.time() - started
print(("%d bytes in %d blocks, window %d: %d sends in %.1f s"):format(#file, kept, window, sends, seconds))
