-- The part of the host that is written in Lua: messages about mistakes, help, completion, descriptions, timers, and how
-- the prompt shows values. A message never names a place in this file, but the one in the program.
local native, reference = ...
local host, type, rawget, globals = host, type, rawget, _G
local concat, sort, min, max = table.concat, table.sort, math.min, math.max
local prelude = {}

local classes, functions = {}, {} -- by name in small letters; those of modules
for _, class in ipairs(native.classes) do
  classes[class.name:lower()] = class
  if class.isModule then table.move(class.members, 1, #class.members, #functions + 1, functions) end
end

-- The members of the class of that name, of its superclasses, and the extensions of them.
local function membersOf(name)
  local all, class = {}, classes[name:lower()]
  while class do
    table.move(class.members, 1, #class.members, #all + 1, all)
    for _, extension in ipairs(functions) do
      all[#all + 1] = extension.extends == class.name and extension or nil
    end
    class = class.super ~= "" and classes[class.super:lower()]
  end
  return all
end

-- The text in small letters, and each text that is left when one letter is removed. Two texts with one of these in common
-- differ in one letter, or in the order of two.
local function variants(text)
  local small = text:lower()
  local set = { [small] = true }
  for i = 1, #small do set[small:sub(1, i - 1) .. small:sub(i + 1)] = true end
  return set
end

-- "; did you mean A or B?" of the names that are like it, also in the last word or as a beginning; "" of none.
local function suggestion(wrong, names)
  local wanted, found = variants(wrong), {}
  for key in next, names do
    local name = tostring(key)
    local isLike = #wrong > 2 and name:lower():find(wrong:lower(), 1, true) == 1
    for _, part in ipairs({ name, name:match("%u%l+$") }) do
      for variant in next, variants(part) do isLike = isLike or wanted[variant] and #variant > 1 end
    end
    if isLike then found[#found + 1] = name end
    if name:lower() == wrong:lower() then return "; did you mean " .. name .. "?" end
  end
  sort(found)
  return found[1] and "; did you mean " .. concat(found, " or ") .. "?" or ""
end

-- What the global name in one of Lua's own messages may have been meant to be.
function prelude.hint(message)
  local name = message:match("%(global '([%w_]+)'%)$")
  return name and suggestion(name, globals) or ""
end

-- Why a member of a class or its objects can't be read or assigned to, and which member to use instead.
function prelude.explain(owner, name, assigns)
  local names, what = {}, owner .. "." .. name
  for _, member in ipairs(membersOf(owner)) do
    names[member.name] = true
    if member.name == name and assigns and (member.section == "Methods" or member.extends) then
      return what .. " is a method, which is called and not assigned"
    elseif member.name == name and assigns and member.section == "Constants" then
      return what .. " is a constant"
    elseif member.name == name then
      return what .. " belongs to objects: local s = " .. owner .. "(...), then s." .. name
    end
  end
  if what:lower() == "udpsocketvyn.close" then
    return what .. ": it closes when it is destroyed: call Destructor(), declare it <close>, or let nothing hold it"
  end
  local meant = suggestion(name, names)
  return "there is no member " .. what .. (meant ~= "" and meant or "; help(" .. owner .. ") lists those there are" ..
    (assigns and ", and an object's own field is called tag" or ""))
end

-- The text of a function says how it is called: a program that took it for a property prints this.
debug.setmetatable(print, {
  __tostring = function(value)
    local name, takesObject = native.nameOf(value)
    if not name then return ("function: %p"):format(value) end
    name = name:gsub("^global%.", "")
    return name .. ": a method, to be called: " .. (takesObject and name:gsub("^.*%.", "object:") or name) .. "(...)"
  end,
})

local times, stderr, mostTimes = {}, io.stderr, 1000

-- Each goes to host.onError, or is printed the first time. True when a program that nobody watches is to end.
function prelude.handlerFailed(event, failure, isWatched)
  if type(host.onError) == "function" then return host.onError(failure) and false end
  local text = ("vynhost: error in %s: %s"):format(event, failure)
  times[text] = (times[text] or 0) + 1
  if times[text] == 1 then
    local remedy = event:gsub("^.*%.(.*)", "OBJECT.%1 = nil takes the handler away"):gsub("^a timer",
      "calling what host.every has returned cancels it")
    io.stdout:flush()
    stderr:write(text, "\n", failure.traceback, "\n", isWatched and "It is shown once; " .. remedy .. ".\n" or "")
  end
  return times[text] >= mostTimes and not isWatched
end

-- True when no error was printed.
function prelude.finish(waitsForEvents)
  for text, count in next, times do
    if count > 1 then stderr:write(("%s ... %d times more\n"):format(text, count - 1)) end
  end
  if waitsForEvents then stderr:write("vynhost: no event can come: host.run was never called\n") end
  return next(times) == nil
end

-- Breaks a line at words; what follows a break begins below the first word.
local function wrap(line)
  local lines, mark, rest = {}, line:match("^([%s-]*)(.*)")
  local room = max(native.width() - #mark, 20)
  while utf8.len(rest) > room do
    local fits = rest:sub(1, utf8.offset(rest, room + 2) - 1):match("^(.+) ") or rest:match("^%S+")
    lines[#lines + 1], rest = fits, rest:sub(#fits + 2)
  end
  lines[#lines + 1] = rest
  return mark .. concat(lines, "\n" .. (" "):rep(#mark))
end

-- The words in columns, sorted downwards.
local function columns(words)
  local widest, lines = 0, {}
  for _, word in ipairs(words) do widest = max(widest, #word + 2) end
  local rows = math.ceil(#words / max(1, native.width() // widest))
  for i, word in ipairs(words) do
    local row = (i - 1) % rows + 1
    lines[row] = (lines[row] and lines[row] .. (" "):rep(widest - #words[i - rows]) or "") .. word
  end
  return concat(lines, "\n") .. "\n"
end

-- The texts under the headings that match the name, and all headings. A member's name alone matches in every class.
local function wordsOf(name)
  local key, lines, names, paragraph, isMeant, isCode = name:lower(), {}, {}, nil, false, false
  local function start(text)
    lines[#lines + 1] = paragraph and wrap(paragraph)
    paragraph = text
  end
  for line in reference:gmatch("([^\n]*)\n") do
    local heading = line:match("^##.* (%S+)$")
    if heading then
      local member = heading:match("%.(.+)") or heading
      names[heading], names[member] = true, true
      isMeant = heading:lower() == key or member:lower() == key
    end
    line = (heading or line):gsub("%[(.-)%]%(.-%)", "%1"):gsub("%*%*", "")
    if isMeant and line == "```" then
      isCode = not isCode
      start()
    elseif isMeant and (isCode or heading or line:find("^-") or line == "" or paragraph == "") then
      start(line ~= "" and line or paragraph ~= "" and "" or nil)
    elseif isMeant then
      paragraph = paragraph and paragraph .. line:gsub("^%s*", " ") or line
    end
  end
  start()
  return concat(lines, "\n"), names
end

function globals.help(...)
  local isAll = select("#", ...) == 0 or ... == host or ... == "host"
  local value = isAll and "vynhost" or ... -- the part of the reference about it
  local name = type(value) == "string" and value or (native.nameOf(value) or type(value)):gsub("^global%.", "")
  local words, names = wordsOf(name)
  if words == "" then words = wordsOf(name:match("%.(.+)") or "") end -- an extension has the name of its module there
  if words == "" then native.fail("the reference has nothing on " .. name .. suggestion(name, names)) end
  print(words)
end

-- The letters to add to the line, and the names that may follow. No code of the program runs.
function prelude.complete(line)
  local path, mark, beginning = line:match("([%w_.]*)([.:])([%w_]*)$")
  beginning = beginning or line:match("[%w_]*$")
  local value, found, names, common = globals, {}, {}, nil
  for name in (path or ""):gmatch("[%w_]+") do
    value = type(value) == "table" and rawget(value, name) or nil
  end
  local function add(name)
    if type(name) ~= "string" or found[name] or name:find("^Operator_") then return end
    if name:sub(1, #beginning) ~= beginning then return end
    found[name], names[#names + 1], common = true, name, common or name
    while name:sub(1, #common) ~= common do common = common:sub(1, -2) end
  end
  if path ~= "" then
    for _, member in ipairs(membersOf(native.nameOf(value) or "")) do
      if mark ~= ":" or member.section == "Methods" or (member.extends or "") ~= "" then add(member.name) end
    end
    for name in next, type(value) == "table" and value or {} do add(name) end
  end
  sort(names)
  return (common or beginning):sub(#beginning + 1), #names > 1 and columns(names) or ""
end

-- Classes in the order of registration with their members in theirs, then modules and single functions. With a name
-- that class or module, or "Class.Member", or a function.
function host.describe(name)
  local key, texts, names = (name or ""):lower(), {}, {}
  for _, class in ipairs(native.classes) do
    local isMeant = key == "" and not class.isOwn or key ~= "" and class.name:lower() == key
    local lines, section = { isMeant and class.heading or nil }, nil
    for _, member in ipairs(class.members) do
      local full = class.name .. "." .. member.name
      names[full] = true
      if isMeant then
        lines[#lines + 1] = member.section ~= section and "  " .. member.section or nil
        lines[#lines + 1], section = "    " .. member.text, member.section
      elseif full:lower() == key or member.section == "Functions" and member.name:lower() == key then
        lines[#lines + 1] = member.text
      end
    end
    texts[#texts + 1] = lines[1] and concat(lines, "\n") .. "\n"
  end
  if not texts[1] then native.fail("nothing is registered under the name " .. name .. suggestion(name, names)) end
  io.write(concat(texts, key == "" and "\n" or ""))
end

local mostBytes, mostFields = 1000, 50

local function quote(text)
  local shown = ("%q"):format(text:sub(1, mostBytes)):gsub("\\\n", "\\n")
  if not utf8.len(shown) then shown = shown:gsub("[\x80-\xFF]", function(c) return "\\" .. c:byte() end) end
  return shown .. (#text > mostBytes and ("... (%d bytes)"):format(#text) or "")
end

-- A table or an object is shown with its fields, one level deep. Only plain fields of an object are read: other properties
-- are operations, which change Lasterror.
local function show(value, isInside)
  local kind, class, fields, inOrder = type(value), native.nameOf(value), {}, {}
  if kind == "string" then return quote(value) end
  if kind == "table" and class then return class end
  if isInside or kind ~= "table" and not (kind == "userdata" and class) or kind == "table" and getmetatable(value) then
    return tostring(value)
  end
  if class then
    for _, member in ipairs(membersOf(class)) do
      if member.isField then fields[#fields + 1] = member.name .. " = " .. show(value[member.name], true) end
    end
    if class == "MemoryBlock" then fields[#fields + 1] = quote(value:bytes()) end
  else
    for i, item in ipairs(value) do fields[i], inOrder[i] = show(item, true), true end
    for key, item in next, value do
      local name = type(key) == "string" and key or "[" .. show(key, true) .. "]"
      if not inOrder[key] then fields[#fields + 1] = name .. " = " .. show(item, true) end
    end
  end
  if #fields > mostFields then fields[mostFields] = ("... (%d in all)"):format(#fields) end
  return (class and class .. " " or "") .. "{ " .. concat(fields, ", ", 1, min(#fields, mostFields)) .. " }"
end

function prelude.show(...)
  local shown = {}
  for i = 1, select("#", ...) do shown[i] = show((select(i, ...))) end
  print(concat(shown, "\t"))
end

local timers = {}

local function start(seconds, run, again)
  if type(seconds) ~= "number" or seconds < 0 then native.fail("argument 1 must be a number of seconds") end
  if type(run) ~= "function" then native.fail("argument 2 must be a function, not " .. type(run)) end
  local timer = { due = host.time() + seconds, run = run, again = again and seconds }
  timers[timer] = true
  native.setTimer(timer.due)
  return function() timers[timer] = nil end
end

-- Calling the result cancels the timer.
function host.after(seconds, run) return start(seconds, run) end
function host.every(seconds, run) return start(seconds, run, true) end

-- Runs the earliest of those that are due, and says when the next one is.
function prelude.runTimer()
  local first, now = nil, host.time()
  for timer in next, timers do first = first and first.due < timer.due and first or timer end
  if not first or first.due > now then return first and native.setTimer(first.due) end
  timers[first] = first.again and true
  first.due = max(first.due + (first.again or 0), now)
  native.setTimer(now)
  first.run()
end

-- The global "arg" is as Lua's own program sets it; "require" looks beside the program first.
function prelude.start(name, folder, ...)
  globals.arg = { [0] = name, ... }
  if folder ~= "" then package.path = ("%s/?.lua;%s/?/init.lua;%s"):format(folder, folder, package.path) end
end

local function refuse(name)
  local names = { onError = true }
  for known in next, host do names[known] = true end
  native.fail("there is no member host." .. tostring(name) .. suggestion(tostring(name), names))
end

host.collect = collectgarbage
setmetatable(host, {
  __index = function(_, name) return name ~= "onError" and refuse(name) or nil end,
  __newindex = function(_, name, value) return name == "onError" and rawset(host, name, value) or refuse(name) end,
})
return prelude
