-- The options that are added to the host's own sockets, before and after a change.
--
--   ./run Examples/options.lua

local listener = host.tcpListener()
local socket = host.tcp("127.0.0.1", listener.LocalPort)

local options = {
  { "OptionReusePortVYN", true },
  { "OptionReuseAddressVYN", true },
  { "OptionKeepAliveVYN", 1 },
  { "OptionReceiveBufferSizeVYN", 65536 }, -- reads back doubled: the system counts its own needs too
  { "OptionSendBufferSizeVYN", 65536 },
  { "OptionTOSVYN", 16 },
  { "OptionTTLVYN", 32 },
  { "OptionMutliCastTTLVYN", 4 },          -- a stream has no multicast
}

print(("%-30s %10s %10s %10s"):format("option", "before", "set to", "after"))
for _, option in ipairs(options) do
  local name, wish = option[1], option[2]
  local before = socket[name](socket)
  local accepted = pcall(function() socket[name] = wish end)
  local after = accepted and tostring(socket[name](socket)) or "refused"
  print(("%-30s %10s %10s %10s"):format(name, tostring(before), tostring(wish), after))
end
print(("%-30s %10d"):format("OptionMaximumSegmentSizeVYN", socket:OptionMaximumSegmentSizeVYN()))
print(("%-30s %10d"):format("OptionTypeVYN", socket:OptionTypeVYN()))
socket:ClearOptionsVYN()

-- What the system refuses is a host exception that says so.
local ok, failure = pcall(function() socket.OptionTTLVYN = 0 end)
assert(not ok)
print(failure.message)
