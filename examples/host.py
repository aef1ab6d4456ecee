"""A host for the plug-in in Python, with ctypes alone: python3 host.py PLUGIN FILE

Shows the headers, plays the packets, seeks to 5 s, plays to the end again, and closes. qbflvplus/host_interfaces_c.h
defines the slots of the tables of functions.
"""
import ctypes
import sys
from collections import deque
from ctypes import CFUNCTYPE, POINTER, byref, c_char_p, c_int32, c_ubyte, c_uint8, c_uint16, c_uint32, c_void_p

# The plug-in allocates memory with the C++ heap operators in the global symbol scope. Python has none there. The C++
# runtime provides them if it is loaded with RTLD_GLOBAL before the first object is created.
ctypes.CDLL("libstdc++.so.6", mode=ctypes.RTLD_GLOBAL)

OK, NO_INTERFACE, FAILED = 0, 0x80004002 - 2**32, 0x80004005 - 2**32


def identifier(first, rest="01 09 d1 11 8b 06 00 a0 24 40 6d 59"):
    return first.to_bytes(4, "little") + bytes.fromhex(rest)


UNKNOWN = identifier(0, "00 00 00 00 c0 00 00 00 00 00 00 46")
BUFFER, PACKET, LIST, FACTORY = identifier(0x1300), identifier(0x1301), identifier(0x1302), identifier(0)
PLUGIN, FORMAT = identifier(0xC00), identifier(0xF00)


def call(object, slot, *arguments, returns=c_int32):
    """Calls the function in a slot of an object's table. Arguments are ctypes values."""
    table = ctypes.cast(object, POINTER(POINTER(c_void_p))).contents
    types = [type(argument) if isinstance(argument, ctypes._SimpleCData) else c_void_p for argument in arguments]
    return CFUNCTYPE(returns, c_void_p, *types)(table[slot])(object, *arguments)


def check(status, what):
    if status < 0:
        sys.exit(f"{what}: status 0x{status % 2**32:08x}")


def query(object, id):
    result = c_void_p()
    check(call(object, 0, c_char_p(id), byref(result)), "an interface")
    return result


def release(object):
    call(object, 2, returns=c_uint32)


class Object:
    """An object of this host. `slots` maps each slot to its result type, its parameter types and its method."""

    live = {}  # objects that have references, by address
    id, slots = None, {}

    def __init__(self):
        self.memory = c_void_p(ctypes.addressof(self.class_table()))
        self.address = ctypes.addressof(self.memory)
        self.references = 1
        Object.live[self.address] = self

    @classmethod
    def class_table(cls):
        """Returns the table of functions. All objects of a class share it; it is never freed."""
        if "table" not in cls.__dict__:
            slots = {0: (c_int32, (c_void_p, POINTER(c_void_p)), "query"), 1: (c_uint32, (), "add_ref"),
                     2: (c_uint32, (), "release"), **cls.slots}
            cls.functions = {slot: CFUNCTYPE(result, c_void_p, *parameters)(cls.method(name))
                             for slot, (result, parameters, name) in slots.items()}
            addresses = [ctypes.cast(cls.functions[slot], c_void_p) if slot in slots else None
                         for slot in range(max(slots) + 1)]
            cls.table = (c_void_p * len(addresses))(*addresses)
        return cls.table

    @staticmethod
    def method(name):
        return lambda address, *arguments: getattr(Object.live[address], name)(*arguments)

    def query(self, id, out):
        known = ctypes.string_at(id, 16) in (UNKNOWN, self.id)
        out[0] = self.address if known else None
        if known:
            self.add_ref()
        return OK if known else NO_INTERFACE

    def add_ref(self):
        self.references += 1
        return self.references

    def release(self):
        self.references -= 1
        if self.references == 0:
            del Object.live[self.address]
            self.end()
        return self.references

    def end(self):
        """Releases what the object holds."""


class Buffer(Object):
    id = BUFFER
    slots = {4: (c_int32, (c_void_p, c_uint32), "set"), 5: (c_int32, (c_uint32,), "set_size"),
             6: (c_uint32, (), "size"), 7: (c_void_p, (), "address_of_bytes")}
    bytes = (c_ubyte * 0)()

    def set(self, address, length):
        self.bytes = (c_ubyte * length).from_buffer_copy(ctypes.string_at(address, length))
        return OK

    def set_size(self, size):
        self.bytes = (c_ubyte * size)(*bytes(self.bytes[:size]))
        return OK

    def size(self):
        return len(self.bytes)

    def address_of_bytes(self):
        return ctypes.addressof(self.bytes)


class Packet(Object):
    id = PACKET
    slots = {4: (c_void_p, (), "get_buffer"), 5: (c_uint32, (), "get_time"), 6: (c_uint16, (), "get_stream"),
             7: (c_uint8, (), "get_flags"), 8: (c_uint16, (), "get_rule"), 9: (c_int32, (), "is_lost"),
             11: (c_int32, (c_void_p, c_uint32, c_uint16, c_uint8, c_uint16), "set")}
    values = (None, 0, 0, 0, 0)

    def set(self, *values):
        if values[0]:
            call(values[0], 1, returns=c_uint32)
        self.end()
        self.values = values
        return OK

    def get_buffer(self):
        if self.values[0]:
            call(self.values[0], 1, returns=c_uint32)
        return self.values[0]

    def get_time(self):
        return self.values[1]

    def get_stream(self):
        return self.values[2]

    def get_flags(self):
        return self.values[3]

    def get_rule(self):
        return self.values[4]

    def is_lost(self):
        return 0

    def end(self):
        if self.values[0]:
            release(self.values[0])


class List(Object):
    id = LIST
    slots = {3: (c_int32, (c_char_p, c_uint32), "set_number"), 4: (c_int32, (c_char_p, POINTER(c_uint32)), "get_number"),
             7: (c_int32, (c_char_p, c_void_p), "set_buffer"), 8: (c_int32, (c_char_p, POINTER(c_void_p)), "get_buffer"),
             11: (c_int32, (c_char_p, c_void_p), "set_text"), 12: (c_int32, (c_char_p, POINTER(c_void_p)), "get_text")}

    def __init__(self):
        super().__init__()
        self.values = {}

    def store(self, name, kind, value):
        if kind != "number":
            call(value, 1, returns=c_uint32)
        old = self.values.get(name.lower())
        self.values[name.lower()] = (kind, value)
        if old and old[0] != "number":
            release(old[1])
        return OK

    def load(self, name, kind, out):
        known, value = self.values.get(name.lower(), (None, None))
        if known != kind:
            return FAILED
        if kind != "number":
            call(value, 1, returns=c_uint32)
        out[0] = value
        return OK

    def set_number(self, name, value):
        return self.store(name, "number", value)

    def get_number(self, name, out):
        return self.load(name, "number", out)

    def set_buffer(self, name, value):
        return self.store(name, "bytes", value)

    def get_buffer(self, name, out):
        return self.load(name, "bytes", out)

    def set_text(self, name, value):
        return self.store(name, "text", value)

    def get_text(self, name, out):
        return self.load(name, "text", out)

    def end(self):
        for kind, value in self.values.values():
            if kind != "number":
                release(value)

    def show(self):
        for name, (kind, value) in self.values.items():
            if kind == "text":
                value = bytes(Object.live[value].bytes).rstrip(b"\0").decode(errors="replace")
            elif kind == "bytes":
                value = "(bytes)"
            print(f"  {name.decode()}: {value}")


class Context(Object):
    """The context is the factory itself; this host has no preferences."""

    id = FACTORY
    slots = {3: (c_int32, (c_void_p, POINTER(c_void_p)), "create")}

    def create(self, id, out):
        kind = {BUFFER: Buffer, PACKET: Packet, LIST: List}.get(ctypes.string_at(id, 16))
        out[0] = kind().address if kind else None
        return OK if kind else NO_INTERFACE


class Request(Object):
    slots = {4: (c_int32, (POINTER(c_void_p),), "headers"), 8: (c_int32, (POINTER(c_char_p),), "url")}

    def headers(self, out):
        out[0] = List().address
        return OK

    def url(self, out):
        out[0] = b"file:///film.flv"
        return OK


class File(Object):
    """Performs each operation inside the call. Queues its completion: a slot of the response object, and a buffer."""

    slots = {3: (c_int32, (c_uint32, c_void_p), "init"), 5: (c_int32, (), "close"), 6: (c_int32, (c_uint32,), "read"),
             8: (c_int32, (c_uint32, c_int32), "seek"), 9: (c_int32, (c_uint32,), "hint")}

    def __init__(self, stream):
        super().__init__()
        self.stream, self.response, self.queue = stream, None, deque()

    def init(self, flags, response):
        call(response, 1, returns=c_uint32)
        self.response = response
        self.queue.append((3, None))
        return OK

    def read(self, count):
        buffer = Buffer()
        bytes = self.stream.read(count)
        buffer.set(bytes, len(bytes))
        self.queue.append((5, buffer))
        return OK

    def seek(self, offset, relative):
        self.stream.seek(offset)
        self.queue.append((7, None))
        return OK

    def hint(self, hint):
        return OK

    def run(self):
        if not self.queue:
            return False
        slot, buffer = self.queue.popleft()
        call(self.response, slot, c_int32(OK), *([c_void_p(buffer.address)] if buffer else []))
        if buffer:
            buffer.release()
        return True

    def close(self):
        for _, buffer in self.queue:
            if buffer:
                buffer.release()
        self.queue.clear()
        if self.response:
            release(self.response)
        self.response = None
        return OK


class Sink(Object):
    """Stores failures for the main loop, because ctypes ignores exceptions in callbacks."""

    slots = {3: (c_int32, (c_int32,), "ended"), 4: (c_int32, (c_int32, c_void_p), "packet"),
             5: (c_int32, (c_int32,), "ended"), 6: (c_int32, (c_int32, c_void_p), "header"),
             7: (c_int32, (c_int32, c_void_p), "header"), 8: (c_int32, (c_uint16,), "stream_done")}

    def __init__(self, format):
        super().__init__()
        self.format, self.streams, self.has_ended, self.status = format, 0, False, OK
        self.packets, self.bytes, self.streams_done = 0, 0, 0

    def ended(self, status):
        self.has_ended, self.status = True, status
        return OK

    def header(self, status, address):
        if status < 0:
            return self.ended(status)
        header = Object.live[address]
        print("Header")
        header.show()
        self.streams = header.values.get(b"streamcount", (None, self.streams))[1]
        return self.ended(status)

    def packet(self, status, address):
        packet = Object.live[address]
        if self.packets == 0:
            print(f"first packet at {packet.get_time()} ms")
        self.packets += 1
        self.bytes += Object.live[packet.values[0]].size()
        self.status = min(self.status, call(self.format, 7, c_uint16(packet.get_stream())))
        return OK

    def stream_done(self, stream):
        self.streams_done += 1
        return OK


def request(sink, file, what, slot, *arguments):
    """Makes a request and runs completions until it has ended. It may end inside its call."""
    sink.has_ended = False
    check(call(sink.format, slot, *arguments), what)
    while not sink.has_ended and file.run():
        pass
    check(sink.status if sink.has_ended else FAILED, what)


def play(sink, file):
    sink.packets, sink.bytes, sink.streams_done = 0, 0, 0
    for stream in range(sink.streams):
        check(call(sink.format, 7, c_uint16(stream)), "a packet")
    while sink.streams_done < sink.streams and sink.status >= 0 and file.run():
        pass
    check(sink.status, "the next packet")
    check(OK if sink.streams_done == sink.streams else FAILED, "playing")
    print(f"{sink.packets} packets, {sink.bytes} bytes")


def main(plugin_path, file_path):
    library = ctypes.CDLL(plugin_path)
    object = c_void_p()
    check(library.QBMCreateInstance(byref(object)), "an object")
    plugin, format = query(object, PLUGIN), query(object, FORMAT)
    with open(file_path, "rb") as stream:
        context, file, sink, what = Context(), File(stream), Sink(format), Request()
        check(call(plugin, 4, c_void_p(context.address)), "the context")
        request(sink, file, "opening", 4, *(c_void_p(each.address) for each in (what, sink, file)))
        request(sink, file, "the file header", 5)
        for number in range(sink.streams):
            request(sink, file, "a stream header", 6, c_uint16(number))
        play(sink, file)
        request(sink, file, "seeking to 5 s", 8, c_uint32(5000))
        play(sink, file)
        call(format, 9)
        for each in (context, file, sink, what):
            each.release()
    for each in (format, plugin, object):
        release(each)
    check(library.CanUnload2(), "unloading")
    if Object.live:
        sys.exit(f"{len(Object.live)} objects are left")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
