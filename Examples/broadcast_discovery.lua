-- Finds the servers of a network: asks all at once by broadcast and lists who answers.
--
--   ./run Examples/broadcast_discovery.lua [BROADCAST-ADDRESS]
--
-- Both sides run in this program, so that it has somebody to find. The default address reaches this
-- machine alone; 255.255.255.255 or your network's own reaches your network.

local PORT = 45455
local target = ... or "127.255.255.255"

local server = UDPSocketVYN()
server.ReuseAddress = true
server:Bind(PORT)
if server.Lasterror ~= 0 then
  error("can't bind the server's port: " .. host.errorText(server.Lasterror), 0)
end

function server:DataAvailable()
  local question = self:Read()
  if question and question.Data == "who is there?" then
    self:SendMessage("the server in this program", question.Address, question.Port)
  end
end

local client = UDPSocketVYN()
local EACCES = 13

-- The system protects networks from broadcasts by mistake: without Broadcast a send is refused.
client:SendMessage("who is there?", target, PORT)
assert(client.Lasterror == EACCES)
print("without Broadcast: refused with EACCES")

client.Broadcast = true
client:SendMessage("who is there?", target, PORT)
if client.Lasterror ~= 0 then
  error("the broadcast failed: " .. host.errorText(client.Lasterror), 0)
end

local found = 0
function client:DataAvailable()
  local answer = self:Read()
  found = found + 1
  print(("%s:%d: %s"):format(answer.Address, answer.Port, answer.Data))
end

host.run(function() return found > 0 end, 2.0)
if found == 0 then
  error("no server answered", 0)
end
print("servers found: " .. found)
