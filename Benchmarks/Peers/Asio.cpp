// Asio, used so that it gives what our library gives: addresses as text, payloads as strings.
#include "Benchmarks/Bench.h"

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>

using namespace bench;
using asio::ip::udp;

static void SendAsio(benchmark::State &state, long size)
{
    BareSocket receiver;
    asio::io_context context;
    udp::socket socket(context, udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    const std::string data(static_cast<std::size_t>(size), 'x'), address = "127.0.0.1";
    auto port = static_cast<std::uint16_t>(receiver.port);
    TimeEach(
        state, BatchOf(size), [&] { receiver.Drain(size); },
        [&] { socket.send_to(asio::buffer(data), udp::endpoint(asio::ip::make_address(address), port)); });
}

static void ReadAsio(benchmark::State &state, long size)
{
    BareSocket sender;
    asio::io_context context;
    udp::socket socket(context, udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    int port = socket.local_endpoint().port();
    std::vector<char> buffer(65'535);
    TimeEach(
        state, BatchOf(size), [&] { sender.Fill(port, size); },
        [&] {
            udp::endpoint from;
            std::size_t received = socket.receive_from(asio::buffer(buffer), from);
            std::string data(buffer.data(), received), address = from.address().to_string();
            Require(data.size() == static_cast<std::size_t>(size), "Asio received something else");
            benchmark::DoNotOptimize(address.data());
        });
}

[[maybe_unused]] static const bool registered[] = {
    RegisterBatched("send", "Asio", SendAsio, kDatagramSizes),
    RegisterBatched("read", "Asio", ReadAsio, kDatagramSizes),
};
