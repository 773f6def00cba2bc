-- Names to addresses and addresses to names, with the system's resolver.
--
--   ./run Examples/resolve.lua localhost 127.0.0.1

if select("#", ...) == 0 then
  error("usage: resolve.lua NAME...", 0)
end

local questions = {
  { "IPv4", DNSNameToAddressVYN },
  { "IPv6", DNSNameToAddressIPv6VYN },
  { "IPv4's name", DNSAddressToNameVYN },
  { "IPv6's name", DNSAddressToNameIPv6VYN },
}

local unknown = {}
for _, name in ipairs({ ... }) do
  print(name)
  local answers = 0
  for _, question in ipairs(questions) do
    local label, ask = table.unpack(question)
    local answer = ask(name) -- "" for what can't be found
    if answer ~= "" then
      print(("  %-12s %s"):format(label, answer))
      answers = answers + 1
    end
  end
  if answers == 0 then table.insert(unknown, name) end
end
if #unknown > 0 then
  error("unknown: " .. table.concat(unknown, ", "), 0)
end
