-- One machine of a test: runs each line it is given, and answers the values on one line, "; " between them.
-- A handler gets its turn when a line says host.step().
for line in io.lines() do
  local chunk, mistake = load("return " .. line)
  if not chunk then
    chunk, mistake = load(line)
  end
  local values = table.pack(pcall(chunk or function() error(mistake, 0) end))
  for i = 1, values.n do
    values[i] = tostring(values[i])
  end
  print((values[1] == "true" and "" or "error ") .. table.concat(values, "; ", 2))
  io.stdout:flush()
end
