-- The options of the host's own sockets, and the DNS functions.
local support = dofile((arg and arg[0] or debug.getinfo(1, "S").source:sub(2)):gsub("[^/]*$", "support.lua"))
local equal, raises, balanced = support.equal, support.raises, support.balanced

-- name, values to set, what they read back as (left out: the same)
local rows = {
  { "OptionReusePortVYN", { true, false } },
  { "OptionReuseAddressVYN", { false, true } },
  { "OptionKeepAliveVYN", { 1, 0 } },
  { "OptionReceiveBufferSizeVYN", { 65536 }, { 131072 } },
  { "OptionSendBufferSizeVYN", { 65536 }, { 131072 } },
  { "OptionTOSVYN", { 16, 0 } },
  { "OptionTTLVYN", { 64, 1, 255 } },
  { "OptionMutliCastTTLVYN", { 5, 0, 255 } },
}

balanced("every option of a host socket is set, read back and moves no other", function()
  local socket = host.udp()
  support.setEach(rows, function(name) return socket[name](socket) end, function(name, value) socket[name] = value end)
  equal(socket:OptionTypeVYN(), 2)
  if not support.emulated then socket:ClearOptionsVYN() end
end)

balanced("a TCP socket has its own", function()
  local listener = host.tcpListener()
  local socket = host.tcp("127.0.0.1", listener.LocalPort)
  equal(socket:OptionTypeVYN(), 1)
  assert(socket:OptionMaximumSegmentSizeVYN() > 0)
end)

balanced("every failure is an exception that says what failed", function()
  local socket = host.udp()
  local function fails(text, action) raises("UnsupportedOperationException: Failed to " .. text, action) end
  for _, value in ipairs({ 0, 256 }) do
    fails(("set socket option with level: 0, option: 2, value: %d with error 22: Invalid argument"):format(value),
      function() socket.OptionTTLVYN = value end)
  end
  fails("query socket option with level: 6, option: 2 with error 95: Operation not supported",
    function() socket:OptionMaximumSegmentSizeVYN() end)
  fails("set socket option with level: 6, option: 2, value: 1000 with error 92: Protocol not available",
    function() socket.OptionMaximumSegmentSizeVYN = 1000 end)

  host.close(socket.Handle)
  if not support.emulated then
    fails("set socket option with level: 0, option: 4 with error 9: Bad file descriptor",
      function() socket:ClearOptionsVYN() end)
  end
  socket:Close()
  local function hasNoHandle(action) raises("UnsupportedFormatException: Failed to get socket handle", action) end
  for _, row in ipairs(rows) do
    hasNoHandle(function() socket[row[1]] = row[2][1] end)
    hasNoHandle(function() return socket[row[1]](socket) end)
  end
  hasNoHandle(function() socket:ClearOptionsVYN() end)
end)

balanced("names and addresses", function()
  equal(DNSNameToAddressVYN("127.0.0.1\0.5"), "127.0.0.1") -- a zero byte ends the text
  equal(DNSNameToAddressIPv6VYN("::1\0.5"), "::1")
  equal(DNSNameToAddressVYN("localhost"), "127.0.0.1")
  assert(DNSAddressToNameVYN("127.0.0.1\0.5") ~= "")
  for _, lookUp in ipairs({ DNSNameToAddressVYN, DNSAddressToNameVYN, DNSNameToAddressIPv6VYN,
    DNSAddressToNameIPv6VYN }) do
    for _, nonsense in ipairs({ "", "no such host", ("x"):rep(65536), "1.2.3.4.5", "\0", "\xFF\xFE" }) do
      equal(lookUp(nonsense), "", nonsense:sub(1, 20))
    end
  end
  equal(DNSNameToAddressIPv6VYN("127.0.0.1"), "") -- no mapped addresses
  equal(DNSAddressToNameVYN("localhost"), "")     -- numeric text alone
end)
