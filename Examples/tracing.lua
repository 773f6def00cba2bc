-- Why does nothing arrive? The library's own account of a Bind that fails without a word.
--
--   ./run Examples/tracing.lua                 traces the middle of the program
--   VYNDEBUG=1 ./run Examples/tracing.lua      traces all of it
--
-- The trace goes to the standard error stream, each line with "VYN Debug: " in front.

local socket = UDPSocketVYN()

local before = UDPSocketVYN.Debugging
UDPSocketVYN.Debugging = true
socket:Bind(5000, "www.example.org") -- a name: Bind takes numbers and "localhost" only
UDPSocketVYN.Debugging = before

print("Lasterror is " .. socket.Lasterror .. ", LocalPort " .. socket.LocalPort)
