-- Names to addresses and addresses to names, with the system's resolver.
--
--   ./run Examples/resolve.lua localhost 127.0.0.1

if select("#", ...) == 0 then
  error("usage: resolve.lua NAME...", 0)
end

-- Every function answers "" for what it can't find.
local function show(label, answer)
  print(("  %-12s %s"):format(label, answer ~= "" and answer or "-"))
end

for _, name in ipairs({ ... }) do
  print(name)
  show("IPv4", DNSNameToAddressVYN(name))
  show("IPv6", DNSNameToAddressIPv6VYN(name))
  show("IPv4's name", DNSAddressToNameVYN(name))
  show("IPv6's name", DNSAddressToNameIPv6VYN(name))
end
