"""A network serial port made of pyserial's server end over a port that loops its data back.

Prints "listening PORT", then what reaches the serial port, in the order of the stream: "data TEXT" (one line for a run of
bytes), "rts 0", "rts 1", "settings 9600 8 N 1". Ends when its client does.
"""
import socket
import sys
import threading

import serial
import serial.rfc2217


def main():
    port = serial.serial_for_url("loop://", timeout=0.05)
    listening = socket.create_server(("127.0.0.1", 0))
    print("listening", listening.getsockname()[1], flush=True)
    client, _ = listening.accept()
    lock = threading.Lock()

    class Connection:
        @staticmethod
        def write(data):
            with lock:
                client.sendall(data)

    manager = serial.rfc2217.PortManager(port, Connection)

    def forward():
        while True:
            data = port.read(port.in_waiting or 1)
            if data:
                Connection.write(b"".join(manager.escape(data)))

    threading.Thread(target=forward, daemon=True).start()
    rts, settings, run = port.rts, None, bytearray()

    def flush():
        if run:
            print("data", run.decode("latin-1"), flush=True)
            run.clear()

    def notice():
        nonlocal rts, settings
        if port.rts != rts:
            flush()
            rts = port.rts
            print("rts", int(rts), flush=True)
        now = (port.baudrate, port.bytesize, port.parity, port.stopbits)
        if now != settings:
            flush()
            settings = now
            print("settings", *now, flush=True)

    while received := client.recv(1024):
        # One byte at a time, so that what lies between two bytes shows between them.
        for value in received:
            for byte in manager.filter(bytes([value])):
                run += byte
                port.write(byte)
            notice()
        flush()


main()
