"""A host of another make: brings the desk up over pyserial's RFC 2217 client.

usage: cvdesk_host.py URL monitor|program|silent MODEL VERSION
"""

import sys

import serial

PROMPT = b"\r\nEPROM>"
CHECK = b"C 0100 0 0000\r"
JUMP = b"J 0100 0\r"


def hear(port, expected):
    """Reads as many bytes as are expected, or until nothing comes for the port's time-out."""
    heard = port.read(len(expected))
    assert heard == expected, f"expected {expected!r}, heard {heard!r}"


def reset(port):
    port.rts = False
    port.reset_input_buffer()
    port.rts = True


def main(url, state, model, version):
    # The settings, their acknowledgement and the purges belong to opening: pyserial waits for each.
    with serial.serial_for_url(url, baudrate=9600, timeout=0.5 if state == "silent" else 30) as port:
        assert port.cts and port.dsr and port.cd and not port.ri
        port.baudrate = 19200
        port.parity = serial.PARITY_EVEN
        port.stopbits = serial.STOPBITS_TWO
        port.bytesize = serial.SEVENBITS
        port.dtr = False
        port.dtr = True
        port.break_condition = True
        port.break_condition = False
        port.xonxoff = True
        port.xonxoff = False
        port.reset_output_buffer()

        reset(port)
        if state == "silent":
            port.write(JUMP + b"? ")
            assert port.read(1) == b""
            return
        if state == "monitor":
            hear(port, PROMPT)
            port.write(b"H \r")
            hear(port, b"H \r\r\n" + model.encode())
            hear(port, b" Corvane EPROM 1.0" + PROMPT)
            port.write(CHECK)
            hear(port, CHECK + b"\r\nCRC = 0000" + PROMPT)
            port.write(JUMP)
            hear(port, JUMP + b"\r\n")
        else:
            port.write(b"     ")
        version_packet = b"V" + version.encode() + b" "
        port.write(b"F2      ? W K ")
        if state == "program":
            # What is sent before it has booted is lost, so ask until it answers.
            port.timeout = 0.1
            heard = b""
            for _ in range(300):
                heard += port.read(len(version_packet) - len(heard))
                if heard:
                    break
                port.write(b"? ")
            port.timeout = 30
            heard += port.read(len(version_packet) - len(heard))
            assert heard == version_packet, heard
        else:
            hear(port, version_packet)

    # The next connection finds the program running, and every byte value passes.
    with serial.serial_for_url(url, baudrate=9600, timeout=30) as port:
        port.write(bytes(value for value in range(256) if value != ord(" ")) + b" ? ")
        hear(port, version_packet)


main(*sys.argv[1:])
