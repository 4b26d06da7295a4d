#!/usr/bin/env python3
"""Reads a minidump file from the format's published layout and checks it.

Independent of the library's writer: it knows only the file format (the
MINIDUMP_* structures, little-endian, packed to 4 bytes). Used as a module by
check_dumps.py, or on its own:  minidump_reader.py FILE...
"""
import struct
import sys

SIGNATURE = b"MDMP"
VERSION = 0xA793
THREAD_LIST, MODULE_LIST, MEMORY_LIST, EXCEPTION, SYSTEM_INFO = 3, 4, 5, 6, 7
ARCHITECTURES = {0: "x86", 9: "amd64"}
# (offset of the stack pointer, of the instruction pointer, smallest size)
CONTEXT_LAYOUT = {"x86": (0xC4, 0xB8, 0xCC), "amd64": (0x98, 0xF8, 0x100)}
PLATFORMS = {2: "Windows NT", 0x8201: "Linux"}


class DumpError(Exception):
    pass


class Dump:
    def __init__(self, path):
        with open(path, "rb") as f:
            self.data = f.read()
        self.path = path
        self._parse()

    def _unpack(self, fmt, offset):
        size = struct.calcsize(fmt)
        if offset < 0 or offset + size > len(self.data):
            raise DumpError("%s at %d lies past the end of the file (%d bytes)" % (fmt, offset, len(self.data)))
        return struct.unpack_from(fmt, self.data, offset)

    def _location(self, size, rva, what):
        if rva + size > len(self.data):
            raise DumpError("%s (%d bytes at %d) lies past the end of the file" % (what, size, rva))

    def _string(self, rva):
        (length,) = self._unpack("<I", rva)
        if length % 2:
            raise DumpError("string at %d has an odd byte length" % rva)
        self._location(length, rva + 4, "string")
        return self.data[rva + 4:rva + 4 + length].decode("utf-16-le")

    def _parse(self):
        signature, version, count, directory, _checksum, self.time, self.flags = self._unpack("<4sIIIIIQ", 0)
        if signature != SIGNATURE:
            raise DumpError("signature %r, not MDMP" % signature)
        if version & 0xFFFF != VERSION:
            raise DumpError("version %#x" % version)
        self.streams = {}
        for i in range(count):
            kind, size, rva = self._unpack("<III", directory + 12 * i)
            self._location(size, rva, "stream %d" % kind)
            if kind != 0:  # unused entries
                self.streams.setdefault(kind, (size, rva))
        for kind in (SYSTEM_INFO, THREAD_LIST, MODULE_LIST):
            if kind not in self.streams:
                raise DumpError("stream %d missing" % kind)
        self._system_info()
        self._threads()
        self._modules()
        self._memory()
        self._exception()

    def _system_info(self):
        size, rva = self.streams[SYSTEM_INFO]
        if size < 56:
            raise DumpError("system information of %d bytes" % size)
        (arch, _level, _revision, processors, _product, major, minor, build, platform,
         csd_rva) = self._unpack("<HHHBBIIIII", rva)
        if arch not in ARCHITECTURES:
            raise DumpError("processor architecture %d" % arch)
        if processors < 1:
            raise DumpError("no processors")
        self.arch = ARCHITECTURES[arch]
        self.platform = PLATFORMS.get(platform, "platform %#x" % platform)
        self.os_version = "%d.%d.%d" % (major, minor, build)
        self.csd = self._string(csd_rva) if csd_rva else ""

    def _context(self, size, rva):
        sp_at, ip_at, least = CONTEXT_LAYOUT[self.arch]
        if size < least:
            raise DumpError("thread context of %d bytes" % size)
        self._location(size, rva, "thread context")
        fmt = "<I" if self.arch == "x86" else "<Q"
        return self._unpack(fmt, rva + sp_at)[0], self._unpack(fmt, rva + ip_at)[0]

    def _threads(self):
        size, rva = self.streams[THREAD_LIST]
        (count,) = self._unpack("<I", rva)
        if count < 1 or 4 + 48 * count > size:
            raise DumpError("thread list of %d threads in %d bytes" % (count, size))
        self.threads = {}
        for i in range(count):
            (tid, _suspend, _class, _priority, _teb, stack_start, stack_size, stack_rva, context_size,
             context_rva) = self._unpack("<IIIIQQIIII", rva + 4 + 48 * i)
            self._location(stack_size, stack_rva, "stack of thread %d" % tid)
            sp, ip = self._context(context_size, context_rva)
            self.threads[tid] = {"stack": (stack_start, stack_size), "sp": sp, "ip": ip}

    def _modules(self):
        size, rva = self.streams[MODULE_LIST]
        (count,) = self._unpack("<I", rva)
        if count < 1 or 4 + 108 * count > size:
            raise DumpError("module list of %d modules in %d bytes" % (count, size))
        self.modules = []
        for i in range(count):
            at = rva + 4 + 108 * i
            base, image_size, _checksum, _stamp, name_rva = self._unpack("<QIIII", at)
            cv_size, cv_rva = self._unpack("<II", at + 24 + 52)
            cv = b""
            if cv_size:
                self._location(cv_size, cv_rva, "CodeView record")
                cv = self.data[cv_rva:cv_rva + 4]
            if image_size == 0:
                raise DumpError("module at %#x has no size" % base)
            self.modules.append({"base": base, "size": image_size, "name": self._string(name_rva), "cv": cv})

    def _memory(self):
        self.memory = []
        if MEMORY_LIST not in self.streams:
            return
        size, rva = self.streams[MEMORY_LIST]
        (count,) = self._unpack("<I", rva)
        if 4 + 16 * count > size:
            raise DumpError("memory list of %d ranges in %d bytes" % (count, size))
        for i in range(count):
            start, data_size, data_rva = self._unpack("<QII", rva + 4 + 16 * i)
            self._location(data_size, data_rva, "memory range")
            self.memory.append((start, data_size))

    def _exception(self):
        self.exception = None
        if EXCEPTION not in self.streams:
            return
        size, rva = self.streams[EXCEPTION]
        if size < 168:
            raise DumpError("exception stream of %d bytes" % size)
        tid, _align, code, flags, _record, address, count = self._unpack("<IIIIQQI", rva)
        if count > 15:
            raise DumpError("exception with %d parameters" % count)
        parameters = self._unpack("<%dQ" % count, rva + 40) if count else ()
        context_size, context_rva = self._unpack("<II", rva + 160)
        sp, ip = self._context(context_size, context_rva)
        if tid not in self.threads:
            raise DumpError("exception thread %d is not in the thread list" % tid)
        self.exception = {"thread": tid, "code": code, "flags": flags, "address": address,
                          "parameters": parameters, "sp": sp, "ip": ip}

    def module_at(self, address):
        for m in self.modules:
            if m["base"] <= address < m["base"] + m["size"]:
                return m
        return None

    def check_exception_thread(self):
        """The faulting thread's stack is in the dump and holds its stack pointer."""
        if self.exception is None:
            raise DumpError("no exception stream")
        thread = self.threads[self.exception["thread"]]
        start, size = thread["stack"]
        sp = self.exception["sp"]
        if not start <= sp < start + size:
            raise DumpError("stack %#x+%#x does not hold the stack pointer %#x" % (start, size, sp))
        if (start, size) not in self.memory and self.memory:
            if not any(s <= start and start + size <= s + n for s, n in self.memory):
                raise DumpError("the stack is not in the memory list")
        return start, size


def basename(name):
    return name.replace("\\", "/").rsplit("/", 1)[-1]


def describe(dump):
    lines = ["%s: %d bytes, %s on %s %s, %d thread(s), %d module(s), %d memory range(s)" % (
        dump.path, len(dump.data), dump.arch, dump.platform, dump.os_version, len(dump.threads),
        len(dump.modules), len(dump.memory))]
    e = dump.exception
    if e:
        module = dump.module_at(e["address"])
        where = "%s+%#x" % (basename(module["name"]), e["address"] - module["base"]) if module else "no module"
        start, size = dump.threads[e["thread"]]["stack"]
        lines.append("  exception %#010x at %#x (%s) in thread %d, params %s" % (
            e["code"], e["address"], where, e["thread"], ["%#x" % p for p in e["parameters"]]))
        lines.append("  stack %#x..%#x (%d bytes), sp %#x, ip %#x" % (start, start + size, size, e["sp"], e["ip"]))
    return "\n".join(lines)


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
