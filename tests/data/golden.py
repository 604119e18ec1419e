#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Golden records, built by an encoder of their own from the description of the formats.

    golden.py            writes the .hex files beside this script
    golden.py --check    compares them with what it would write
"""
import pathlib
import sys

HERE = pathlib.Path(__file__).parent

# name of the variant: polynomial, start, reflected, final xor
CRC16 = {
    "ibm-3740": (0x1021, 0xFFFF, False, 0x0000),
    "arc": (0x8005, 0x0000, True, 0x0000),
    "modbus": (0x8005, 0xFFFF, True, 0x0000),
    "genibus": (0x1021, 0xFFFF, False, 0xFFFF),
}


def mirror(value, bits):
    return int(format(value, f"0{bits}b")[::-1], 2)


def crc16(data, variant):
    poly, crc, reflected, xorout = CRC16[variant]
    for byte in data:
        crc ^= (mirror(byte, 8) if reflected else byte) << 8
        for _ in range(8):
            crc = (crc << 1) ^ (poly if crc & 0x8000 else 0)
            crc &= 0xFFFF
    return (mirror(crc, 16) if reflected else crc) ^ xorout


def addresses(base, count):
    first = int(base.replace(":", ""), 16)
    return [((first + i) % 2**48).to_bytes(6, "big") for i in range(count)]


def qolt(base, count, variant):
    head = b"QOLT" + count.to_bytes(4, "big") + addresses(base, 1)[0]
    return head + crc16(head, variant).to_bytes(2, "big")


def router(base, count, variant, with_crc):
    body = (8 + 6 * count).to_bytes(4, "big") + b"MACREADY" + b"".join(addresses(base, count))
    trailer = crc16(body, variant) if with_crc else 0xA5A5E7E7
    return body + trailer.to_bytes(4, "big")


def swapped(address):
    return bytes(address[i ^ 1] for i in range(6))


def kolbe(base, count, variant, with_crc):
    head = bytearray(b"\xff" * 48)
    if with_crc:
        head[0:4] = b"GOOD"
        for i, address in enumerate(addresses(base, count)):
            head[4 + 2 * i : 6 + 2 * i] = crc16(address, variant).to_bytes(2, "big")
    return bytes(head) + b"".join(swapped(address) for address in addresses(base, count))


# format, base, count, variant, bytes
def records():
    for base, count, variant in [
        ("00:11:22:33:44:fe", 8, "ibm-3740"),
        ("02:ff:ff:ff:ff:ff", 2, "arc"),
        ("51:4f:4c:54:fe:ff", 1, "modbus"),
        ("00:00:00:ff:ff:f0", 22, "genibus"),
    ]:
        yield "qolt", base, count, variant, qolt(base, count, variant)
        yield "router-crc", base, count, variant, router(base, count, variant, True)
        yield "router", base, count, variant, router(base, count, variant, False)
        yield "kolbe-crc", base, count, variant, kolbe(base, count, variant, True)
        yield "kolbe", base, count, variant, kolbe(base, count, variant, False)


def text():
    lines = ["# format base count crc16 bytes; made by golden.py"]
    for name, base, count, variant, data in records():
        lines.append(f"{name} {base} {count} {variant} {data.hex()}")
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    path = HERE / "golden.hex"
    if sys.argv[1:] == ["--check"]:
        sys.exit(0 if path.read_text() == text() else f"{path} is not what golden.py makes")
    path.write_text(text())
