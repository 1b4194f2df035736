#!/usr/bin/env python3
"""Writes the identity ROM images of the example boards: the motherboard and backplane VPD
EEPROMs (IPMI FRU areas at fixed places, 512-byte parts with the unused bytes blank) and a
display EDID (base block and a CEA-861 extension).

The byte positions here are written out from the ROM tables, independently of the library's
own layout header, so that a mistake in one doesn't hide in the other.

    python3 examples/appliances/make_identity_roms.py
"""
import os
import struct
import time
import calendar

HERE = os.path.dirname(os.path.abspath(__file__))


def text(value, length):
    raw = value.encode("ascii")[: length]
    return bytes([0xC0 | length]) + raw + bytes(length - len(raw))


def checksum(area):
    return bytes([(-sum(area)) & 0xFF])


def mfg_minutes(year, month, day, hour, minute):
    # Minutes since 2013/01/01 00:00; the boards run in UTC.
    epoch = calendar.timegm((2013, 1, 1, 0, 0, 0))
    when = calendar.timegm((year, month, day, hour, minute, 0))
    return struct.pack("<I", max(0, (when - epoch) // 60))[:3]


def mb_rom(board_name, serial, part, product, product_part, version, product_serial, date):
    header = bytes([1, 0, 0, 1, 15, 0, 0])
    header += checksum(header)
    board = bytes([1, 14, 0]) + mfg_minutes(*date)
    board += text("Vornix", 16) + text(board_name, 16) + text(serial, 16) + text(part, 32)
    board += bytes([0xC0]) + bytes([16]) + bytes(range(16)) + bytes([0xC1, 0, 0])
    board += checksum(board)
    prod = bytes([1, 12, 0])
    prod += text("Vornix", 16) + text(product, 32) + text(product_part, 16)
    prod += text(version, 3) + text(product_serial, 16) + bytes([0xC0, 0xC0, 0xC1, 0])
    prod += checksum(prod)
    rom = header + board + prod
    assert len(header) == 8 and len(board) == 112 and len(prod) == 96, len(rom)
    return rom


def bp_rom(chassis_part, chassis_serial, board_name, serial, part, product, product_part,
           version, product_serial, date):
    header = bytes([1, 0, 1, 6, 18, 0, 0])
    header += checksum(header)
    chassis = bytes([1, 5, 0x17]) + text(chassis_part, 16) + text(chassis_serial, 16)
    chassis += bytes([0xC1, 0])
    chassis += checksum(chassis)
    board = bytes([1, 12, 0]) + mfg_minutes(*date)
    board += text("Vornix", 16) + text(board_name, 16) + text(serial, 16) + text(part, 32)
    board += bytes([0xC0, 0xC1, 0, 0, 0])
    board += checksum(board)
    prod = bytes([1, 10, 0])
    prod += text("Vornix", 16) + text(product, 16) + text(product_part, 16)
    prod += text(version, 3) + text(product_serial, 16) + bytes([0xC0, 0xC0, 0xC1, 0])
    prod += checksum(prod)
    assert len(header) == 8 and len(chassis) == 40 and len(board) == 96 and len(prod) == 80
    return header + chassis + board + prod


def eeprom(image):
    return image + bytes([0xFF]) * (512 - len(image))


def edid(name, serial_text):
    b = bytearray(128)
    b[0:8] = bytes([0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0])
    letters = [ord(c) - ord("A") + 1 for c in "VRN"]
    b[8:10] = struct.pack(">H", (letters[0] << 10) | (letters[1] << 5) | letters[2])
    b[10:12] = struct.pack("<H", 0x2401)
    b[12:16] = struct.pack("<I", 0x01020304)
    b[16], b[17], b[18], b[19] = 12, 2024 - 1990, 1, 3
    b[20] = 0x80  # digital input
    b[21], b[22] = 53, 30  # 53 x 30 cm
    b[23] = 120  # gamma 2.2
    b[24] = 0x0A  # RGB, preferred timing is native
    b[25:35] = bytes([0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54])
    b[35:38] = bytes([0x21, 0x08, 0x00])
    b[38:54] = bytes([0x01, 0x01] * 8)
    # 1920x1080 at 60 Hz, 148.5 MHz.
    b[54:72] = bytes([0x02, 0x3A, 0x80, 0x18, 0x71, 0x38, 0x2D, 0x40, 0x58, 0x2C,
                      0x45, 0x00, 0x13, 0x2B, 0x21, 0x00, 0x00, 0x1E])
    def descriptor(tag, payload):
        raw = payload.encode("ascii")[:13]
        if len(raw) < 13:
            raw += b"\n" + b" " * (12 - len(raw))
        return bytes([0, 0, 0, tag, 0]) + raw
    b[72:90] = bytes([0, 0, 0, 0xFD, 0, 56, 76, 30, 83, 17, 0, 0x0A]) + b" " * 6
    b[90:108] = descriptor(0xFC, name)
    b[108:126] = descriptor(0xFF, serial_text)
    b[126] = 1
    b[127] = (-sum(b[:127])) & 0xFF
    ext = bytearray(128)
    ext[0:4] = bytes([0x02, 0x03, 0x04, 0x00])
    ext[127] = (-sum(ext[:127])) & 0xFF
    return bytes(b) + bytes(ext)


def write(board, name, data):
    path = os.path.join(HERE, board, "sim", name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        out.write(data)


write("x86-8bay", "vpd_mb.bin", eeprom(mb_rom(
    "NX-800 MB", "MB8A2407001234", "BRD-NX800031", "NX-800", "NX-800", "1.0",
    "NX8A2407005678", (2024, 7, 15, 9, 30))))
write("x86-8bay", "vpd_bp.bin", eeprom(bp_rom(
    "CHS-NX800", "CH8A2407000042", "NX-800 BP", "BP8A2407004321", "BPL-B8SAT020",
    "NX-800 BP", "B8SAT", "1.0", "BP8A2407009876", (2024, 7, 15, 9, 45))))
write("x86-8bay", "edid.bin", edid("VIRTUAL PANEL", "VP0001"))
write("x86-12bay-sas", "vpd_mb.bin", eeprom(mb_rom(
    "NX-1210S MB", "MBCA2311000077", "BRD-N1210021", "NX-1210S", "NX-1210S", "2.1",
    "NXCA2311000123", (2023, 11, 2, 14, 5))))
write("x86-12bay-sas", "vpd_bp.bin", eeprom(bp_rom(
    "CHS-NX1210S", "CHCA2311000011", "NX-1210S BP", "BPCA2311000456", "BPL-B12SA010",
    "NX-1210S BP", "B12SA", "1.0", "BPCA2311000789", (2023, 11, 2, 14, 20))))
