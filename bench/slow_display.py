#!/usr/bin/python3
"""Makes a display slow, as over a network: slow_display.py SOCKET DISPLAY SECONDS

Connects each client of SOCKET with the display at DISPLAY. Each byte is delayed by SECONDS in each
direction; the bandwidth is not limited. File descriptors are not passed on.
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


# The default event loop would round the delay to whole milliseconds.
asyncio.SelectorEventLoop(selectors.SelectSelector()).run_until_complete(
    main(sys.argv[1], sys.argv[2], float(sys.argv[3])))
