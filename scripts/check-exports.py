#!/usr/bin/env python3
"""Checks a built library's export table against its public headers.

Every function and variable that the installed headers declare and a client
may link to must be exported: non-inline functions and static data members
of every class (but the private ones, which clients cannot name), free
functions and extern variables, and all members,
inline ones too, of the template instantiations the headers declare extern
(clients do not instantiate those themselves). Declarations are read with
universal-ctags from the headers with the other platform's #ifdef _WIN32
branches blanked out; exports with objdump (PE) or nm (ELF), demangled.

A declaration matches an export of the same qualified name, number of
parameters and constness; overloads that agree in all three must be exported
as many times as they are declared.

Usage: check-exports.py LIBRARY HEADER_ROOT [OBJDUMP]
"""
import collections
import os
import re
import subprocess
import sys
import tempfile

# Entry points are called by the loader, never linked to.
NOT_EXPORTED = {"DllMain"}


def split_top(text, sep=","):
    """Splits at `sep` outside (), <> and []; operators are not expected here."""
    parts, depth, cur = [], 0, ""
    for ch in text:
        if ch in "(<[":
            depth += 1
        elif ch in ")>]":
            depth -= 1
        if ch == sep and depth == 0:
            parts.append(cur)
            cur = ""
        else:
            cur += ch
    parts.append(cur)
    return [p.strip() for p in parts]


def arity(params):
    params = params.strip()
    if params in ("", "void"):
        return 0
    return len(split_top(params))


def strip_args(name):
    """TextBuffer<261> -> TextBuffer."""
    out, depth = "", 0
    for ch in name:
        if ch == "<":
            depth += 1
        elif ch == ">":
            depth -= 1
        elif depth == 0:
            out += ch
    return out


def export_key(demangled):
    """(scope::name, arity or None for data, const) of a demangled symbol."""
    text = re.sub(r"@\d+$", "", demangled.strip())
    text = re.sub(r"\[abi:\w+\]", "", text)
    const = text.endswith(" const")
    if const:
        text = text[: -len(" const")]
    if not text.endswith(")"):
        return (text.replace(" ", ""), None, False)
    # The parameter list is the parenthesis matching the last one.
    depth = 0
    for i in range(len(text) - 1, -1, -1):
        if text[i] == ")":
            depth += 1
        elif text[i] == "(":
            depth -= 1
            if depth == 0:
                break
    name, params = text[:i], text[i + 1 : -1]
    op = name.find("operator")
    if op >= 0:
        scope, fn = name[:op], name[op:]
    else:
        scope, fn = name, ""
    # A function template's specialisation carries its return type in front.
    depth, start = 0, 0
    for j in range(len(scope) - 1, -1, -1):
        ch = scope[j]
        if ch == ">":
            depth += 1
        elif ch == "<":
            depth -= 1
        elif ch == " " and depth == 0:
            start = j + 1
            break
    scope = scope[start:]
    if not fn:
        parts = scope.split("::")
        parts[-1] = strip_args(parts[-1])
        scope = "::".join(parts)
    return ((scope + fn).replace(" ", ""), arity(params), const)


def exports(library, objdump):
    with open(library, "rb") as f:
        pe = f.read(2) == b"MZ"
    if pe:
        dump = subprocess.run([objdump, "-p", library], capture_output=True, text=True,
                              check=True).stdout
        table = dump.split("[Ordinal/Name Pointer] Table", 1)[1]
        names = re.findall(r"^\s*\[\s*\d+\]\s+(\S+)$", table, re.M)
    else:
        dump = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True,
                              text=True, check=True).stdout
        names = [line.split()[-1] for line in dump.splitlines() if line.split()]
    demangled = subprocess.run(["c++filt"], input="\n".join(names), capture_output=True,
                               text=True, check=True).stdout.splitlines()
    found = collections.defaultdict(set)
    for d in demangled:
        key = export_key(d)
        found[key].add(d)
    return found


def blank_other_platform(text, windows):
    """Blanks the lines of #ifdef _WIN32 branches that do not apply."""
    out, stack = [], []  # stack of (known, active) per open #if
    for line in text.splitlines():
        s = line.strip()
        m = re.match(r"#\s*(ifdef|ifndef|if|elif|else|endif)\b(.*)", s)
        if m:
            kind, cond = m.group(1), m.group(2).strip()
            if kind in ("ifdef", "ifndef", "if"):
                known = cond in ("_WIN32", "defined(_WIN32)", "defined _WIN32")
                active = (windows if kind != "ifndef" else not windows) if known else True
                stack.append((known, active))
            elif kind == "else" and stack and stack[-1][0]:
                stack[-1] = (True, not stack[-1][1])
            elif kind == "endif" and stack:
                stack.pop()
            out.append("")
            continue
        out.append(line if all(active for _, active in stack) else "")
    return "\n".join(out) + "\n"


def declarations(header_root, windows):
    headers = []
    for dirpath, dirnames, files in os.walk(header_root):
        dirnames[:] = [d for d in dirnames if d not in ("testing", "internal")]
        headers += [os.path.join(dirpath, f) for f in files
                    if f.endswith(".h") and not f.endswith("_posix.h")]
    tmp = tempfile.mkdtemp()
    copies, sources = [], {}
    for h in sorted(headers):
        rel = os.path.relpath(h, header_root)
        dst = os.path.join(tmp, rel)
        os.makedirs(os.path.dirname(dst), exist_ok=True)
        with open(h, encoding="utf-8") as f:
            text = blank_other_platform(f.read(), windows)
        with open(dst, "w", encoding="utf-8") as f:
            f.write(text)
        copies.append(dst)
        sources[dst] = text.splitlines()
    tags = subprocess.run(
        ["ctags", "--language-force=C++", "-D", "KELM_TEMPLATE_EXPORT=", "--kinds-C++=+px", "--fields=+nKSa",
         "--fields-C++=+{properties}{template}", "--extras=-F", "-o", "-"] + copies,
        capture_output=True, text=True, check=True).stdout
    entries = []
    for line in tags.splitlines():
        cols = line.split("\t")
        e = {"name": cols[0], "file": cols[1], "kind": cols[3]}
        for c in cols[4:]:
            k, _, v = c.partition(":")
            e[k] = v
        # The declaration's text up to its body or semicolon.
        lines = sources[e["file"]][int(e["line"]) - 1 :]
        e["source"] = lines[0]
        e["declaration"] = ""
        for text in lines[:10]:
            e["declaration"] += text + " "
            if re.search(r"[;{]", text):
                break
        e["file"] = os.path.relpath(e["file"], tmp)
        entries.append(e)
    return entries


def required(entries):
    """(key, where) for each declaration that must be exported."""
    extern_templates = collections.defaultdict(list)
    for e in entries:
        if e["kind"] == "externvar" and e.get("typeref") == "meta:class":
            extern_templates[e["name"]].append(e["template"])
    out = []
    for e in entries:
        props = e.get("properties", "").split(",")
        scope = e.get("class") or e.get("struct") or e.get("namespace") or ""
        name = e["name"].replace(" ", "")
        where = "%s:%s %s" % (e["file"], e["line"], e["source"].strip())
        # Clients cannot name private members (declared-only ones forbid copies).
        if e["name"] in NOT_EXPORTED or e.get("access") == "private":
            continue
        if e["kind"] in ("prototype", "function"):
            if {"delete", "default", "pure"} & set(props) or "template" in e:
                continue
            owner = scope.split("::")[-1] if scope else ""
            instances = extern_templates.get(owner)
            # Constrained members exist only in the instantiations that satisfy them.
            if instances and "requires" in e["declaration"]:
                continue
            if e["kind"] == "function" and not instances:
                continue  # inline: clients compile their own copy
            sig = e.get("signature", "()")
            const = sig.rstrip().endswith("const")
            params = sig[1 : sig.rfind(")")]
            scopes = [scope + "<%s>" % t.strip("<>") for t in instances] if instances else [scope]
            for s in scopes:
                full = (s + "::" if s else "") + name
                out.append(((full, arity(params), const), where))
        elif e["kind"] == "member" and "static" in props:
            if re.search(r"\b(constexpr|inline)\b", e["source"]):
                continue
            out.append(((scope + "::" + name, None, False), where))
        elif e["kind"] == "externvar" and e.get("typeref") != "meta:class":
            out.append((((scope + "::" if scope else "") + name, None, False), where))
    return out


def main():
    library, header_root = sys.argv[1], sys.argv[2]
    objdump = sys.argv[3] if len(sys.argv) > 3 else "objdump"
    found = exports(library, objdump)
    with open(library, "rb") as f:
        windows = f.read(2) == b"MZ"
    need = required(declarations(header_root, windows))
    counts = collections.Counter(key for key, _ in need)
    missing = []
    for key, where in need:
        if len(found.get(key, ())) < counts[key]:
            missing.append(where)
    for where in sorted(set(missing)):
        print("not exported: " + where)
    print("%s: %d declarations checked, %d missing from the export table"
          % (os.path.basename(library), len(need), len(set(missing))))
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
