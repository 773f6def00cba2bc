-- A chat without a server: everyone who joins the group gets every message.
--
--   ./run Examples/multicast_chat.lua Ada "hello all"     (in two or more terminals)
--
-- Arguments: your name, what you say, how many seconds to listen (5), the interface's address
-- (127.0.0.1, this machine alone; give that of a network card to reach others).

local GROUP, PORT = "239.1.2.3", 45454
local name, text, seconds, interface = ...
if not text then
  error("usage: multicast_chat.lua NAME TEXT [SECONDS [INTERFACE]]", 0)
end
interface = interface or "127.0.0.1"

local chat = UDPSocketVYN()
chat.ReuseAddress = true -- several programs on one machine share the port
chat:Bind(PORT)
if chat.Lasterror ~= 0 then
  error("can't bind the chat's port: " .. host.errorText(chat.Lasterror), 0)
end

chat:AddMembership(GROUP, interface)
if chat.Lasterror ~= 0 then
  error("can't join the group: " .. host.errorText(chat.Lasterror), 0)
end
chat.MulticastInterface = interface -- where our own messages go out
chat.MulticastTimeToLive = 1        -- and not beyond the next router
chat.MulticastLoop = true           -- and to ourselves as well

function chat:DataAvailable()
  local message = self:Read()
  print(message and message.Data or "(an empty message)")
end

chat:SendMessage(name .. ": " .. text, GROUP, PORT)
if chat.Lasterror ~= 0 then
  error("can't send to the group: " .. host.errorText(chat.Lasterror), 0)
end
host.run(tonumber(seconds) or 5)
chat:DropMembership(GROUP, interface)
