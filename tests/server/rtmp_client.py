"""An RTMP client on top of librtmp that can seek and pause during playback."""

import ctypes
import re
import struct

from flv import Tag

librtmp = ctypes.CDLL("librtmp.so.1")
librtmp.RTMP_Alloc.restype = ctypes.c_void_p


class Packet(ctypes.Structure):
    _fields_ = [("header_type", ctypes.c_uint8), ("type", ctypes.c_uint8), ("is_absolute", ctypes.c_uint8),
                ("channel", ctypes.c_int), ("time", ctypes.c_uint32), ("info", ctypes.c_int32),
                ("size", ctypes.c_uint32), ("read", ctypes.c_uint32), ("chunk", ctypes.c_void_p),
                ("body", ctypes.POINTER(ctypes.c_char))]


def amf(value):
    if isinstance(value, bool):
        return b"\1" + bytes([value])
    if isinstance(value, str):
        return b"\2" + struct.pack(">H", len(value.encode())) + value.encode()
    return b"\5" if value is None else b"\0" + struct.pack(">d", value)


class Client:
    def __init__(self, url, buffer=3600):
        self.handle = ctypes.c_void_p(librtmp.RTMP_Alloc())
        librtmp.RTMP_Init(self.handle)
        # librtmp keeps pointers into this buffer.
        self.url = ctypes.create_string_buffer(url.encode())
        assert librtmp.RTMP_SetupURL(self.handle, self.url)
        librtmp.RTMP_SetBufferMS(self.handle, buffer * 1000)
        assert librtmp.RTMP_Connect(self.handle, None) and librtmp.RTMP_ConnectStream(self.handle, 0)
        self.statuses = []

    def seek(self, time):
        assert librtmp.RTMP_SendSeek(self.handle, ctypes.c_int(time))

    def pause(self, is_paused):
        assert librtmp.RTMP_SendPause(self.handle, ctypes.c_int(is_paused), ctypes.c_int(0))

    def command(self, name, *arguments):
        """Sends a command unchecked. Returns False if the connection is lost."""
        body = b"".join(map(amf, (name, 0, None, *arguments)))
        # librtmp writes the header into the memory before the body.
        header_size = 18
        memory = ctypes.create_string_buffer(bytes(header_size) + body)
        place = ctypes.cast(ctypes.byref(memory, header_size), ctypes.POINTER(ctypes.c_char))
        packet = Packet(type=20, channel=8, info=1, size=len(body), body=place)
        return bool(librtmp.RTMP_SendPacket(self.handle, ctypes.byref(packet), ctypes.c_int(0)))

    def next(self):
        """Returns the next media tag, or the next status as text; None at the end of the connection."""
        packet = Packet()
        while librtmp.RTMP_ReadPacket(self.handle, ctypes.byref(packet)):
            if not packet.body or packet.read != packet.size:
                continue
            body, kind, time = packet.body[: packet.size], packet.type, packet.time
            # Hide commands from librtmp, which would close the connection at the end of the film.
            if kind != 20:
                librtmp.RTMP_ClientPacket(self.handle, ctypes.byref(packet))
            librtmp.RTMPPacket_Free(ctypes.byref(packet))
            if kind in (8, 9):
                return Tag(kind, time, body)
            status = re.search(rb"NetStream\.[A-Za-z.]+", body)
            if status and kind == 20:
                return status.group().decode()
            if kind == 18 and b"onMetaData" in body:
                return "metadata"
            if kind == 18 and status:
                return status.group().decode()
        return None

    def until(self, status):
        """Returns everything that arrives before this status."""
        seen = []
        while status not in seen:
            seen.append(self.next())
            assert seen[-1] is not None, seen[-5:]
        return seen[:-1]

    def until_frame(self):
        """Returns the next media tag. Ignores statuses."""
        item = ""
        while isinstance(item, str):
            item = self.next()
        return item

    def disconnect(self):
        librtmp.RTMP_Close(self.handle)

    def close(self):
        if self.handle:
            self.disconnect()
            librtmp.RTMP_Free(self.handle)
        self.handle = None
