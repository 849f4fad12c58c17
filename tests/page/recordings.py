"""Recordings that are written by hand, so that they can say whatever a hostile one would."""

import struct

BEGIN, REQUEST, REPLY, NOTIFY = 100, 1, 2, 6
MANAGER_COMMON, REPLY_COMMON, CONNECT = 131, 129, 9


def block(kind, body):
    body += b"\0" * (-len(body) % 4)
    length = struct.pack("<I", len(body) + 12)
    return struct.pack("<I", kind) + length + body + length


def start():
    """A section with one interface whose times are nanoseconds."""
    return block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1)) + block(
        1, struct.pack("<HHIHHI", 147, 0, 0, 9, 1, 9)
    )


def record(kind, content, number=0, sequence=0, time=0, took=0):
    head = struct.pack("<HHIIIQQ", 1, 0, 1, 1, 0, time, took)
    frame = struct.pack("<HHiIII", 1, kind, number, sequence, len(content), 0)
    packet = head + frame + content
    return block(
        6,
        struct.pack("<IIIII", 0, time >> 32, time & 0xFFFFFFFF, len(packet), len(packet)) + packet,
    )


def begin(program, process):
    return record(BEGIN, struct.pack("<III", process, 0, 0) + program.encode() + b"\0")


def connect(text, sequence, time):
    """A request with a text, and the reply to it."""
    content = struct.pack("<iiq", CONNECT, 0, 0) + text.encode() + b"\0" + struct.pack("<i", 0)
    return record(REQUEST, content, MANAGER_COMMON, sequence, time) + record(
        REPLY, struct.pack("<i", 0), REPLY_COMMON, sequence, time + 3000, 3000
    )
