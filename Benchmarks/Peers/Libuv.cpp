// libuv, used so that it gives what our library gives: addresses as text, payloads as strings.
//
// It receives by events: a batch takes as many turns of its loop as it needs.
#include "Benchmarks/Bench.h"

#include <sys/socket.h>
#include <uv.h>

using namespace bench;

namespace {

// A socket on loopback with a loop of its own.
class UVSocket {
  public:
    UVSocket()
    {
        uv_loop_init(&loop);
        uv_udp_init(&loop, &udp);
        sockaddr_in address = Loopback(0);
        Require(uv_udp_bind(&udp, reinterpret_cast<sockaddr *>(&address), 0) == 0, "libuv did not bind");
        udp.data = this;
    }
    UVSocket(const UVSocket &) = delete;
    UVSocket &operator=(const UVSocket &) = delete;
    ~UVSocket()
    {
        uv_close(reinterpret_cast<uv_handle_t *>(&udp), nullptr);
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }

    int Port() const
    {
        sockaddr_in address;
        int size = sizeof address;
        uv_udp_getsockname(&udp, reinterpret_cast<sockaddr *>(&address), &size);
        return ntohs(address.sin_port);
    }

    int Send(const std::string &data, const char *address, int port)
    {
        sockaddr_in to;
        uv_ip4_addr(address, port, &to);
        uv_buf_t bytes = uv_buf_init(const_cast<char *>(data.data()), static_cast<unsigned int>(data.size()));
        return uv_udp_try_send(&udp, &bytes, 1, reinterpret_cast<sockaddr *>(&to));
    }

    void StartReceiving(long size)
    {
        expected = size;
        uv_udp_recv_start(&udp, Allocate, Receive);
    }

    // Turns the loop until this many datagrams came.
    void AwaitDatagrams(int count)
    {
        for (received = 0; received < count;)
            uv_run(&loop, UV_RUN_NOWAIT);
    }

  private:
    static void Allocate(uv_handle_t *handle, std::size_t, uv_buf_t *bytes)
    {
        auto &buffer = static_cast<UVSocket *>(handle->data)->buffer;
        *bytes = uv_buf_init(buffer.data(), static_cast<unsigned int>(buffer.size()));
    }

    static void Receive(uv_udp_t *handle, ssize_t count, const uv_buf_t *bytes, const sockaddr *from, unsigned)
    {
        if (from == nullptr) return; // the queue is empty
        auto &self = *static_cast<UVSocket *>(handle->data);
        char text[INET6_ADDRSTRLEN];
        uv_ip4_name(reinterpret_cast<const sockaddr_in *>(from), text, sizeof text);
        Require(count == self.expected, "libuv received something else");
        std::string data(bytes->base, static_cast<std::size_t>(count)), address = text;
        benchmark::DoNotOptimize(data.data());
        benchmark::DoNotOptimize(address.data());
        self.received++;
    }

    uv_loop_t loop;
    uv_udp_t udp;
    std::vector<char> buffer = std::vector<char>(65'535);
    long expected = 0;
    int received = 0;
};

} // namespace

static void SendLibuv(benchmark::State &state, long size)
{
    BareSocket receiver;
    UVSocket socket;
    const std::string data(static_cast<std::size_t>(size), 'x');
    TimeEach(
        state, BatchOf(size), [&] { receiver.Drain(size); },
        [&] { Require(socket.Send(data, "127.0.0.1", receiver.port) == size, "libuv did not send"); });
}

static void ReadLibuv(benchmark::State &state, long size)
{
    BareSocket sender;
    UVSocket socket;
    int port = socket.Port();
    socket.StartReceiving(size);
    TimeBatches(
        state, BatchOf(size), [&] { sender.Fill(port, size); }, [&] { socket.AwaitDatagrams(BatchOf(size)); });
}

[[maybe_unused]] static const bool registered[] = {
    RegisterBatched("send", "libuv", SendLibuv, kDatagramSizes),
    RegisterBatched("read", "libuv", ReadLibuv, kDatagramSizes),
};
