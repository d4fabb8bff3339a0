"""Carries many channels over the one line to the board's agent.

One such process runs beside each board. It offers sockets in the board's folder: "control" for
commands and shells, "bus", "bus-operator" and "bus-nobody" for connections to the board's system
bus as root, as a member of the daemon's group and as nobody in particular.
"""

import asyncio
import os
import struct

HEAD = struct.Struct("<II")
LARGEST = 16384
BUSES = {"bus": "root", "bus-operator": "operator", "bus-nobody": "nobody"}


class Proxy:
    def __init__(self):
        self.channels = {}
        self.last = 0

    async def connect(self):
        """Waits for the board's agent and drops whatever it said to somebody before us."""
        self.reader, self.writer = await asyncio.open_unix_connection("agent")
        mark = os.urandom(16)
        self.writer.write(HEAD.pack(0, len(mark)) + mark)
        await self.reader.readuntil(HEAD.pack(0, len(mark)) + mark)

    async def from_board(self):
        while True:
            number, length = HEAD.unpack(await self.reader.readexactly(HEAD.size))
            data = await self.reader.readexactly(length)
            client = self.channels.get(number)
            if client is None:
                continue
            if data:
                client.write(data)
            else:
                client.close()

    async def serve(self, first, reader, writer):
        self.last = number = self.last + 1
        self.channels[number] = writer
        data = first
        try:
            while data or (data := await reader.read(LARGEST)):
                self.writer.write(HEAD.pack(number, len(data)) + data)
                await self.writer.drain()
                data = b""
        except OSError:
            pass
        finally:
            self.writer.write(HEAD.pack(number, 0))
            del self.channels[number]
            writer.close()

    async def offer(self, name, first):
        async def client(reader, writer):
            await self.serve(first, reader, writer)
        if os.path.exists(name):
            os.unlink(name)
        await asyncio.start_unix_server(client, name)


async def proxy():
    line = Proxy()
    await line.connect()
    for name, user in BUSES.items():
        await line.offer(name, f"bus {user}\n".encode())
    await line.offer("control", b"")
    try:
        await line.from_board()
    except (asyncio.IncompleteReadError, OSError):
        pass  # QEMU has ended


def main(folder):
    os.chdir(folder)
    asyncio.run(proxy())
