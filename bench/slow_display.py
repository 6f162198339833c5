#!/usr/bin/python3
"""A display that is far away: slow_display.py SOCKET DISPLAY SECONDS

A client of SOCKET is a client of the display at DISPLAY. Each byte takes SECONDS there and SECONDS
back, however many are on the way. File descriptors do not pass, as over a network.
"""

import asyncio
import contextlib
import selectors
import sys


async def carry(reader, writer, delay):
    with contextlib.suppress(ConnectionError):
        while data := await reader.read(1 << 20):
            asyncio.get_running_loop().call_later(delay, writer.write, data)
    asyncio.get_running_loop().call_later(delay, writer.close)


async def main(socket, display, seconds):
    async def join(reader, writer):
        far_reader, far_writer = await asyncio.open_unix_connection(display)
        await asyncio.gather(carry(reader, far_writer, seconds), carry(far_reader, writer, seconds))

    async with await asyncio.start_unix_server(join, socket) as server:
        await server.serve_forever()


# Not the default, whose timers count in whole milliseconds.
asyncio.SelectorEventLoop(selectors.SelectSelector()).run_until_complete(
    main(sys.argv[1], sys.argv[2], float(sys.argv[3])))
