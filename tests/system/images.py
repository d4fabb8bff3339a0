"""Images of disks: partition tables as a partitioning program writes them, file systems inside."""

import struct
import tempfile
import uuid
import zlib

from emuboard.common import run

SECTOR = 512
MIB = (1 << 20) // SECTOR  # where partitions begin
LINUX_DATA = uuid.UUID("0fc63daf-8483-4772-8e79-3d69d8477de4")
ENTRIES, ENTRY_SIZE = 128, 128  # of a GPT


def master_boot_record(places, kind=0x83):
    """The first sector, with partitions at (first sector, sectors)."""
    entries = b"".join(struct.pack("<B3sB3sII", 0, b"", kind, b"", *place) for place in places)
    return b"".join((bytes(440), b"EMU1\0\0", entries.ljust(64, b"\0"), b"\x55\xaa"))


def guid_tables(places, sectors):
    """The two copies of a GPT, as (first sector, content)."""
    entries = b"".join(
        LINUX_DATA.bytes_le + uuid.uuid5(LINUX_DATA, str(place)).bytes_le +
        struct.pack("<QQQ72x", place[0], place[0] + place[1] - 1, 0)
        for place in places).ljust(ENTRIES * ENTRY_SIZE, b"\0")
    length = len(entries) // SECTOR

    def header(here, other, table):
        def packed(checksum):
            return struct.pack("<8sIIIIQQQQ16sQIII", b"EFI PART", 0x10000, 92, checksum, 0,
                               here, other, 2 + length, sectors - 2 - length,
                               uuid.uuid5(LINUX_DATA, "disk").bytes_le,
                               table, ENTRIES, ENTRY_SIZE, zlib.crc32(entries))
        return packed(zlib.crc32(packed(0))).ljust(SECTOR, b"\0")
    last = sectors - 1
    return [(0, master_boot_record([(1, last)], 0xEE)),
            (1, header(1, last, 2) + entries),
            (last - length, entries + header(last, 1, last - length))]


def make(path, table, *partitions):
    """Makes an image with a table, "mbr" or "gpt", and partitions of so many MiB; one that is given
    as (MiB, folder, UUID) has an ext4 file system with what is in the folder."""
    partitions = [part if isinstance(part, tuple) else (part, None, None) for part in partitions]
    places, start = [], MIB
    for size, _, _ in partitions:
        places.append((start, size * MIB))
        start += size * MIB
    sectors = start + MIB
    with open(path, "wb") as image:
        image.truncate(sectors * SECTOR)
        written = (guid_tables(places, sectors) if table == "gpt" else
                   [(0, master_boot_record(places))])
        for (first, length), (_, folder, name) in zip(places, partitions):
            if folder:
                written.append((first, file_system(length * SECTOR, folder, name)))
        for first, content in written:
            image.seek(first * SECTOR)
            image.write(content)


def file_system(size, folder, name):
    with tempfile.NamedTemporaryFile() as file:
        run(["mke2fs", "-q", "-F", "-t", "ext4", "-U", name, "-d", folder, file.name,
             f"{size >> 10}k"])
        return file.read()
