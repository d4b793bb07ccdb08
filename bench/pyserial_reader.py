"""The contender pyserial: pyserial_reader.py byte|packet URL MAILBOX_DESCRIPTOR"""
import mmap
import struct
import sys
import time

import serial

unit, url, descriptor = sys.argv[1], sys.argv[2], int(sys.argv[3])
mailbox = mmap.mmap(descriptor, 16)
port = serial.serial_for_url(url, 9600, timeout=None)
read = (lambda: port.read(1)) if unit == "byte" else (lambda: port.read_until(b" "))
for count in range(1, sys.maxsize):
    struct.pack_into("<Q", mailbox, 8, time.monotonic_ns())
    struct.pack_into("<Q", mailbox, 0, count)
    read()
