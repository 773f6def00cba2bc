"""Python's own sockets: the loop of exchange.lua."""
import socket
import time

BATCHES, WARM_UP = 250, 50
CASES = {16: 40, 512: 40, 1400: 40, 8192: 10}  # bytes: datagrams in flight


def send(sender, data, port, count):
    for _ in range(count):
        assert sender.sendto(data, ("127.0.0.1", port)) == len(data)


def receive(receiver, size, count):
    for _ in range(count):
        data, (address, port) = receiver.recvfrom(8192)
        assert len(data) == size and address and port


def main():
    sender, receiver = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
    for each in (sender, receiver):
        each.bind(("127.0.0.1", 0))
    port = receiver.getsockname()[1]
    for size, count in CASES.items():
        data = b"x" * size
        sending = receiving = 0
        for batch in range(-WARM_UP, BATCHES):
            start = time.perf_counter_ns()
            send(sender, data, port, count)
            sent = time.perf_counter_ns()
            receive(receiver, size, count)
            received = time.perf_counter_ns()
            if batch >= 0:
                sending += sent - start
                receiving += received - sent
        print(f"send {size} {sending / (BATCHES * count):.1f}")
        print(f"receive {size} {receiving / (BATCHES * count):.1f}")


main()
