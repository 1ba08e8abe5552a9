#!/usr/bin/python3
# Sends frames of 1,000 bytes with VLAN tags by an interface, at steady rates:
# send_frames.py INTERFACE SECONDS VLAN:KBIT...   KBIT is the rate of the VLAN in kbit/s.
import errno
import socket
import struct
import sys
import time

interface, seconds, *rates = sys.argv[1:]
to, source = b"\x02\0\0\0\0\x02", b"\x02\0\0\0\0\x01"  # local addresses
schedule = []
for rate in rates:
    vlan, kbit = map(int, rate.split(":"))
    frame = (to + source + struct.pack(">HHH", 0x8100, vlan, 0x88B5)).ljust(1000, b"\0")
    interval = len(frame) * 8 / (kbit * 1000)
    schedule += [(i * interval, frame) for i in range(int(float(seconds) / interval))]

link = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
link.bind((interface, 0))
start = time.monotonic()
for due, frame in sorted(schedule):
    time.sleep(max(0, start + due - time.monotonic()))
    try:
        link.send(frame)
    except OSError as error:
        if error.errno != errno.ENOBUFS:  # the interface has dropped the frame
            raise
