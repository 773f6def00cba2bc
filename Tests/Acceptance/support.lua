-- What the acceptance scripts share: checks that name their line, and small helpers.
local support = {}

-- An emulator of another machine runs this: it knows no descriptors above 1,023 in select, and not all options.
support.emulated = os.getenv("VYN_EMULATED") ~= nil

-- A value as it is written in Lua.
local function quoted(value)
  return type(value) == "string" and ("%q"):format(value) or tostring(value)
end

-- Fails with the line of the script that checks.
function support.equal(found, wanted, what)
  if found ~= wanted then
    error(("%s: wanted %s, found %s"):format(what or "value", quoted(wanted), quoted(found)), 2)
  end
end

-- Checks what an operation left in Lasterror, and what it answered.
function support.outcome(socket, lastError, found, wanted)
  support.equal(socket.Lasterror, lastError, "Lasterror")
  support.equal(found, wanted)
end

-- Runs the function, which must raise that exception: "Class: message".
function support.raises(wanted, action)
  local ok, exception = pcall(action)
  if ok then error("no exception, wanted " .. wanted, 2) end
  local text = type(exception) == "string" and exception or exception.class .. ": " .. exception.message
  support.equal(text, wanted, "exception")
end

-- The properties of a class, in order, as the reference has them, which a test holds against the library.
function support.properties(class)
  local reference = io.open((debug.getinfo(1, "S").source:sub(2):gsub("[^/]*$", "../../Docs/reference.md")))
  local list, names = reference:read("a"):match("## Class " .. class .. "\n.-\nProperties: ([^\n]+)"), {}
  for name in list:gmatch("%[(%w+)%]") do names[#names + 1] = name end
  return names
end

-- All that a program can see of a socket, but for the outcome of looking.
local function state(socket)
  local words, lastError = {}, socket.Lasterror
  for _, name in ipairs(support.properties(tostring(socket):match("%w+"))) do
    if name ~= "Lasterror" and name ~= "SocketError" then -- which looking takes away
      words[#words + 1] = name .. " " .. quoted(socket[name])
    end
  end
  socket.Lasterror = lastError
  return table.concat(words, ", ")
end

-- Runs an operation that is refused: Lasterror is as given, an exception is raised if one is named, and all else stays
-- as it was. Result: what the operation answers.
function support.refused(socket, lastError, operation, exception)
  local before, result = state(socket), nil
  socket.Lasterror = 7
  if exception then support.raises(exception, operation) else result = operation() end
  support.equal(socket.Lasterror, lastError, "Lasterror")
  support.equal(state(socket), before, "the socket afterwards")
  return result
end

-- Sets each option (its name, values, and what they read back as if that differs): no other moves.
function support.setEach(rows, get, set)
  local function all()
    local values = {}
    for _, row in ipairs(rows) do values[row[1]] = get(row[1]) end
    return values
  end
  for _, row in ipairs(rows) do
    local name, values, readBack = row[1], row[2], row[3] or row[2]
    for i, value in ipairs(values) do
      local wanted = all()
      wanted[name] = readBack[i]
      set(name, value)
      for other, found in pairs(all()) do support.equal(found, wanted[other], other .. " after " .. name) end
    end
  end
end

-- A socket bound to a free loopback port, and that port.
function support.bound()
  local socket = UDPSocketVYN()
  socket:Bind(0, "127.0.0.1")
  support.equal(socket.Lasterror, 0, "Bind")
  return socket, socket.LocalPort
end

-- A listening stream on a free loopback port, and that port.
function support.listening()
  local listener = RAWSocketVYN(2, 1, 6)
  listener:Bind(0, "127.0.0.1")
  support.outcome(listener, 0, listener:Listen())
  return listener, listener.LocalPort
end

-- A stream, and the listener that it is connected to, which has not accepted it yet.
function support.connected()
  local listener, port = support.listening()
  local client = RAWSocketVYN(2, 1, 6)
  support.equal(client:Connect("127.0.0.1", port), true)
  return client, listener
end

-- The socket address of that port of 127.0.0.1, as the system has it.
function support.address(port)
  return MemoryBlock(string.pack("=I2>I2", 2, port) .. "\127\0\0\1" .. ("\0"):rep(8))
end

-- Lets the host run until the condition holds.
function support.wait(condition, what)
  host.run(condition, 5.0)
  if not condition() then error("timed out waiting for " .. (what or "it"), 2) end
end

-- Waits until a datagram is queued.
function support.arrived(socket)
  support.wait(function() return socket.AvailableBytes > 0 end, "a datagram")
end

-- Live strings, objects and memory blocks.
local function references()
  return table.concat({ host.references() }, " ")
end

-- Checks that the body leaves references and descriptors as it found them.
function support.balanced(name, body)
  host.collect()
  local before, descriptors = references(), table.concat(host.descriptors(), " ")
  local ok, failure = xpcall(body, debug.traceback)
  host.collect()
  if not ok then error(name .. ": " .. tostring(failure), 0) end
  support.equal(references(), before, name .. ": references")
  support.equal(table.concat(host.descriptors(), " "), descriptors, name .. ": descriptors")
  print("ok " .. name)
end

return support
