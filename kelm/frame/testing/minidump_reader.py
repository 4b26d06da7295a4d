#!/usr/bin/env python3
"""Reads a minidump file from the format's published layout and checks it.

Independent of the library's writer: it knows only the file format (the
MINIDUMP_* structures, little-endian, packed to 4 bytes). Used as a module by
check_dumps.py, or on its own:  minidump_reader.py FILE...
"""
import struct
import sys

THREAD_LIST, MODULE_LIST, MEMORY_LIST, EXCEPTION, SYSTEM_INFO = 3, 4, 5, 6, 7
ARCHITECTURES = {0: "x86", 9: "amd64"}
# (offset of the stack pointer, of the instruction pointer, smallest size)
CONTEXT_LAYOUT = {"x86": (0xC4, 0xB8, 0xCC), "amd64": (0x98, 0xF8, 0x100)}


class DumpError(Exception):
    pass


class Dump:
    def __init__(self, path):
        with open(path, "rb") as f:
            self.data = f.read()
        self.path = path
        signature, version, count, directory = self._unpack("<4sIII", 0)
        if signature != b"MDMP" or version & 0xFFFF != 0xA793:
            raise DumpError("signature %r, version %#x" % (signature, version))
        self.streams = {}
        for i in range(count):
            kind, size, rva = self._unpack("<III", directory + 12 * i)
            self._within(size, rva, "stream %d" % kind)
            if kind != 0:  # unused entries
                self.streams.setdefault(kind, (size, rva))
        for kind in (SYSTEM_INFO, THREAD_LIST, MODULE_LIST):
            if kind not in self.streams:
                raise DumpError("stream %d missing" % kind)
        self._system_info()
        self.threads = {tid: {"stack": (start, size), "context": self._context(csize, crva)}
                        for tid, start, size, csize, crva in self._threads()}
        self.modules = list(self._modules())
        self.memory = list(self._memory())
        self._exception()

    def _unpack(self, fmt, offset):
        self._within(struct.calcsize(fmt), offset, fmt)
        return struct.unpack_from(fmt, self.data, offset)

    def _within(self, size, rva, what):
        if rva < 0 or rva + size > len(self.data):
            raise DumpError("%s (%d bytes at %d) lies past the end of the file" % (what, size, rva))

    def _string(self, rva):
        (length,) = self._unpack("<I", rva)
        if length % 2:
            raise DumpError("string at %d has an odd byte length" % rva)
        self._within(length, rva + 4, "string")
        return self.data[rva + 4:rva + 4 + length].decode("utf-16-le")

    def _list(self, kind, entry_size):
        """The entries of a list stream: (offset of each entry)."""
        size, rva = self.streams[kind]
        (count,) = self._unpack("<I", rva)
        if 4 + entry_size * count > size:
            raise DumpError("stream %d: %d entries in %d bytes" % (kind, count, size))
        return [rva + 4 + entry_size * i for i in range(count)]

    def _system_info(self):
        size, rva = self.streams[SYSTEM_INFO]
        arch, _level, _revision, processors = self._unpack("<HHHB", rva)
        if size < 56 or arch not in ARCHITECTURES or processors < 1:
            raise DumpError("system information: %d bytes, architecture %d, %d processors" % (size, arch, processors))
        self.arch = ARCHITECTURES[arch]

    def _context(self, size, rva):
        """(stack pointer, instruction pointer) of a thread context."""
        sp_at, ip_at, least = CONTEXT_LAYOUT[self.arch]
        if size < least:
            raise DumpError("thread context of %d bytes" % size)
        self._within(size, rva, "thread context")
        fmt = "<I" if self.arch == "x86" else "<Q"
        return self._unpack(fmt, rva + sp_at)[0], self._unpack(fmt, rva + ip_at)[0]

    def _threads(self):
        entries = self._list(THREAD_LIST, 48)
        if not entries:
            raise DumpError("no threads")
        for at in entries:
            tid, _s, _c, _p, _teb, start, size, stack_rva, csize, crva = self._unpack("<IIIIQQIIII", at)
            self._within(size, stack_rva, "stack of thread %d" % tid)
            yield tid, start, size, csize, crva

    def _modules(self):
        entries = self._list(MODULE_LIST, 108)
        if not entries:
            raise DumpError("no modules")
        for at in entries:
            base, image_size, _checksum, _stamp, name_rva = self._unpack("<QIIII", at)
            cv_size, cv_rva = self._unpack("<II", at + 24 + 52)
            if cv_size:
                self._within(cv_size, cv_rva, "CodeView record")
            if image_size == 0:
                raise DumpError("module at %#x has no size" % base)
            yield {"base": base, "size": image_size, "name": self._string(name_rva)}

    def _memory(self):
        for at in self._list(MEMORY_LIST, 16) if MEMORY_LIST in self.streams else []:
            start, size, rva = self._unpack("<QII", at)
            self._within(size, rva, "memory range")
            yield start, size

    def _exception(self):
        self.exception = None
        if EXCEPTION not in self.streams:
            return
        size, rva = self.streams[EXCEPTION]
        tid, _align, code, _flags, _record, address, count = self._unpack("<IIIIQQI", rva)
        if size < 168 or count > 15:
            raise DumpError("exception stream of %d bytes with %d parameters" % (size, count))
        if tid not in self.threads:
            raise DumpError("exception thread %d is not in the thread list" % tid)
        sp, ip = self._context(*self._unpack("<II", rva + 160))
        self.exception = {"thread": tid, "code": code, "address": address, "sp": sp, "ip": ip}

    def module_at(self, address):
        return next((m for m in self.modules if m["base"] <= address < m["base"] + m["size"]), None)

    def check_exception_thread(self):
        """The faulting thread's stack is in the dump and holds its stack pointer."""
        if self.exception is None:
            raise DumpError("no exception stream")
        start, size = self.threads[self.exception["thread"]]["stack"]
        sp = self.exception["sp"]
        if not start <= sp < start + size:
            raise DumpError("stack %#x+%#x does not hold the stack pointer %#x" % (start, size, sp))
        if self.memory and not any(s <= start and start + size <= s + n for s, n in self.memory):
            raise DumpError("the stack is not in the memory list")


def basename(name):
    return name.replace("\\", "/").rsplit("/", 1)[-1]


def describe(dump):
    e = dump.exception
    module = dump.module_at(e["address"])
    where = "%s+%#x" % (basename(module["name"]), e["address"] - module["base"]) if module else "no module"
    return "%s: %d bytes, %s, %d thread(s), %d module(s); exception %#010x at %s in thread %d, sp %#x" % (
        dump.path, len(dump.data), dump.arch, len(dump.threads), len(dump.modules), e["code"], where,
        e["thread"], e["sp"])


def main(paths):
    status = 0
    for path in paths:
        try:
            dump = Dump(path)
            dump.check_exception_thread()
            print(describe(dump))
        except (DumpError, OSError) as error:
            print("%s: %s" % (path, error))
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
