#!/usr/bin/env python3
"""Writes the hostile package corpus: one <case>.kzf per way a package can attack extraction.

Usage: make_hostile_corpus.py OUTPUT_FOLDER

Every package has a valid OPC layout ("[Content_Types].xml", "_rels/.rels" with the
file-manifest relationship, "/.META/filemanifest.xml" valid against the manifest schema) unless
the case is about the zip container or the XML. Standard library only.
"""
import io
import os
import struct
import sys
import zipfile

HOST = "http://schemas.quorlith.com"
MANIFEST_NS = HOST + "/velmor/compiler/2011/fileManifest"
MANIFEST_REL = HOST + "/velmor/compiler/2011/relationships/fileManifest"
MANIFEST_TYPE = "application/vnd.quorlith.velmor.compiler.fileManifest+xml"
MANIFEST_PART = ".META/filemanifest.xml"

CONTENT_TYPES = (
    '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>'
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" '
    'ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="bin" ContentType="application/octet-stream"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Override PartName="/' + MANIFEST_PART + '" ContentType="' + MANIFEST_TYPE + '"/>'
    "</Types>")

RELS = (
    '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>'
    '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
    '<Relationship Id="R1" Type="' + MANIFEST_REL + '" Target="/' + MANIFEST_PART + '"/>'
    "</Relationships>")


def entry(name, content, kind, extra=""):
    return '<fileEntry name="%s" content="%s" type="%s"%s/>' % (name, content, kind, extra)


def manifest(entries, prolog="", root_attributes=""):
    return ('<?xml version="1.0" encoding="UTF-8"?>' + prolog + '<fileEntries xmlns="' +
            MANIFEST_NS + '" platform="glnxa64" encoding="UTF-8"' + root_attributes + ">" +
            "".join(entries) + "</fileEntries>")


def package(xml, parts, extra_items=()):
    """The bytes of a package: parts stored uncompressed so that byte edits can find them."""
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_STORED) as z:
        z.writestr("[Content_Types].xml", CONTENT_TYPES)
        z.writestr("_rels/.rels", RELS)
        for name, data in parts.items():
            z.writestr(name.lstrip("/"), data)
        z.writestr(zipfile.ZipInfo(MANIFEST_PART), xml, compress_type=zipfile.ZIP_DEFLATED)
        for name, data in extra_items:
            z.writestr(name, data)
    return out.getvalue()


def simple(entries, parts):
    return package(manifest(entries), parts)


# --- Zip-level editing: the central directory and local headers of a finished archive. ---

def central_records(data):
    """(offset of each central record, its name) in order."""
    eocd = data.rindex(b"PK\x05\x06")
    count, _, start = struct.unpack_from("<HII", data, eocd + 10)
    records, at = [], start
    for _ in range(count):
        name_len, extra_len, comment_len = struct.unpack_from("<HHH", data, at + 28)
        records.append((at, data[at + 46:at + 46 + name_len].decode()))
        at += 46 + name_len + extra_len + comment_len
    return records


def record_of(data, name):
    for at, record_name in central_records(data):
        if record_name == name:
            local = struct.unpack_from("<I", data, at + 42)[0]
            return at, local
    raise KeyError(name)


VICTIM = "p.bin"
VICTIM_TEXT = b"stored content of the victim part"


def zip_patched(edit):
    """The victim package with `edit(data, central record offset, local header offset)` done."""
    data = bytearray(simple([entry("p", "/p.bin", "File")], {VICTIM: VICTIM_TEXT}))
    edit(data, *record_of(data, VICTIM))
    return bytes(data)


def flip_first_text_byte(data, central, local):
    data[data.index(VICTIM_TEXT)] ^= 0x20


def or16(data, at, value):
    struct.pack_into("<H", data, at, struct.unpack_from("<H", data, at)[0] | value)


def zip_overlap():
    # A second central record whose data is the victim's own bytes.
    data = bytearray(simple([entry("p", "/p.bin", "File"), entry("q", "/q.bin", "File")],
                            {VICTIM: VICTIM_TEXT, "q.bin": VICTIM_TEXT}))
    struct.pack_into("<I", data, record_of(data, "q.bin")[0] + 42, record_of(data, VICTIM)[1])
    return bytes(data)


def zip_duplicates():
    import warnings
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return package(manifest([entry("p", "/p.bin", "File")]), {VICTIM: VICTIM_TEXT},
                       extra_items=[(VICTIM, b"a second item of the same name")])


# --- XML-level cases: the file manifest itself attacks the parser. ---

def xml_case(xml):
    return package(xml, {VICTIM: VICTIM_TEXT})


def entity_bomb():
    levels = ['<!ENTITY e0 "boom">'] + [
        '<!ENTITY e%d "%s">' % (i, ("&e%d;" % (i - 1)) * 10) for i in range(1, 10)]
    prolog = "<!DOCTYPE fileEntries [" + "".join(levels) + "]>"
    return xml_case(manifest([entry("&e9;", "/p.bin", "File")], prolog))


def external_entity():
    prolog = '<!DOCTYPE fileEntries [<!ENTITY x SYSTEM "file:///etc/hostname">]>'
    return xml_case(manifest([entry("&x;", "/p.bin", "File")], prolog))


def external_dtd():
    prolog = '<!DOCTYPE fileEntries SYSTEM "../outside/secret.dtd">'
    return xml_case(manifest([entry("p", "/p.bin", "File")], prolog))


def schema_location():
    # Names a file that exists and is no schema: reading it would fail the load.
    attributes = (' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
                  'xsi:schemaLocation="' + MANIFEST_NS + ' file:///etc/hostname"')
    return xml_case(manifest([entry("p", "/p.bin", "File")], root_attributes=attributes))


def foreign_namespace():
    xml = manifest([entry("p", "/p.bin", "File")]).replace(MANIFEST_NS, "urn:someone-else")
    return xml_case(xml)


def oversized():
    # Past the parser's 32 MiB cap; a comment keeps the rest of the document valid.
    padding = "<!--" + "x" * (33 * 1024 * 1024) + "-->"
    return xml_case(manifest([entry("p", "/p.bin", "File")], prolog=padding))


def long_component():
    return simple([entry("a" * 256, "/p.bin", "File")], {VICTIM: b"x"})


def long_path():
    name = "/".join(["d" * 200] * 21)  # 4220 bytes, every component within its limit
    return simple([entry(name, "/p.bin", "File")], {VICTIM: b"x"})


CASES = {
    # Names.
    "dotdot_name": lambda: simple([entry("../outside/pwned", "/p.bin", "File")], {VICTIM: b"x"}),
    "dotdot_inside_name": lambda: simple([entry("a/../../outside/pwned", "/p.bin", "File")],
                                         {VICTIM: b"x"}),
    "dotdot_folder": lambda: simple([entry("..", "", "Folder")], {}),
    "dot_component": lambda: simple([entry("a/./b", "/p.bin", "File")], {VICTIM: b"x"}),
    "absolute_double_slash": lambda: simple([entry("//outside/pwned", "/p.bin", "File")],
                                            {VICTIM: b"x"}),
    "absolute_link_name": lambda: simple([entry("/abs-link", "/l.bin", "SymLink")],
                                         {"l.bin": b"target-inside"}),
    "trailing_slash": lambda: simple([entry("a/", "/p.bin", "File")], {VICTIM: b"x"}),
    "backslash": lambda: simple([entry("..\\outside\\pwned", "/p.bin", "File")], {VICTIM: b"x"}),
    "nul_character": lambda: simple([entry("a&#0;b", "/p.bin", "File")], {VICTIM: b"x"}),
    "newline_character": lambda: simple([entry("a&#10;b", "/p.bin", "File")], {VICTIM: b"x"}),
    "tab_character": lambda: simple([entry("a&#9;b", "/p.bin", "File")], {VICTIM: b"x"}),
    "long_component": long_component,
    "long_path": long_path,
    "folder_then_file_same_name": lambda: simple(
        [entry("/d", "", "Folder"), entry("d", "/p.bin", "File")], {VICTIM: b"x"}),
    # Links.
    "absolute_link_target": lambda: simple([entry("l", "/l.bin", "SymLink")],
                                           {"l.bin": b"/etc"}),
    "climbing_link_target": lambda: simple([entry("a/l", "/l.bin", "SymLink")],
                                           {"l.bin": b"../../outside"}),
    "link_then_file_through_it": lambda: simple(
        [entry("a", "/l.bin", "SymLink"), entry("a/pwned", "/p.bin", "File"),
         entry("sub", "", "Folder")], {"l.bin": b"sub", VICTIM: b"x"}),
    # "/d" and "d" are one place: the link may not take over the folder made for "/d/a".
    "folder_then_link_same_place": lambda: simple(
        [entry("/d", "", "Folder"), entry("/d/a", "/p.bin", "File"),
         entry("d", "/l.bin", "SymLink"), entry("d/b", "/q.bin", "File"), entry("e", "", "Folder")],
        {"l.bin": b"e", VICTIM: b"x", "q.bin": b"y"}),
    # The folder "d" is made (and held open) for "/d/a"; the link "d" must not replace it, so
    # that "d/b" can neither land in the held folder under a link's name nor through the link.
    "link_over_used_folder": lambda: simple(
        [entry("/d/a", "/p.bin", "File"), entry("d", "/l.bin", "SymLink"),
         entry("d/b", "/q.bin", "File"), entry("e", "", "Folder")],
        {"l.bin": b"e", VICTIM: b"x", "q.bin": b"y"}),
    "chained_links": lambda: simple(
        [entry("cur", "/c.bin", "SymLink"), entry("par", "/q.bin", "SymLink")],
        {"c.bin": b".", "q.bin": b"cur/.."}),
    "link_loop": lambda: simple(
        [entry("x", "/x.bin", "SymLink"), entry("y", "/y.bin", "SymLink")],
        {"x.bin": b"y/..", "y.bin": b"x/.."}),
    # Planted before extraction (the test plants; the package is ordinary).
    "through_planted_link": lambda: simple([entry("evil/pwned", "/p.bin", "File")],
                                           {VICTIM: b"x"}),
    "over_planted_link": lambda: simple([entry("victim", "/p.bin", "File")],
                                        {VICTIM: b"replaced"}),
    "over_planted_hard_link": lambda: simple([entry("victim", "/p.bin", "File")],
                                             {VICTIM: b"replaced"}),
    # Modes and parts.
    "setuid_bits": lambda: simple([entry("tool", "/p.bin", "File", ' permissions="3583"')],
                                  {VICTIM: b"#!/bin/sh\n"}),
    "many_entries_one_part": lambda: simple(
        [entry("copy%03d" % i, "/p.bin", "File") for i in range(200)], {VICTIM: b"x" * 1024}),
    "missing_part": lambda: simple([entry("f", "/missing.bin", "File")], {}),
    "file_manifest_as_content": lambda: simple([entry("f", "/" + MANIFEST_PART, "File")], {}),
    "own_configuration_manifest": lambda: simple(
        [entry("/.META/manifest.xml", "/.META/manifest.xml", "File")],
        {".META/manifest.xml": b"<configuration/>"}),
    # The zip container.
    "zip_truncated": lambda: zip_patched(lambda d, c, l: d.__delitem__(slice(len(d) // 2, None))),
    "zip_bad_crc": lambda: zip_patched(flip_first_text_byte),
    "zip_wrong_sizes": lambda: zip_patched(
        lambda d, c, l: struct.pack_into("<I", d, c + 24, len(VICTIM_TEXT) + 1000)),
    "zip_name_mismatch": lambda: zip_patched(lambda d, c, l: d.__setitem__(l + 30, ord("q"))),
    "zip_overlap": zip_overlap,
    "zip_duplicates": zip_duplicates,
    "zip_unknown_method": lambda: zip_patched(
        lambda d, c, l: (struct.pack_into("<H", d, c + 10, 99), struct.pack_into("<H", d, l + 8, 99))),
    "zip_encryption_flag": lambda: zip_patched(lambda d, c, l: (or16(d, c + 8, 1), or16(d, l + 6, 1))),
    # The XML of the file manifest.
    "xml_entity_bomb": entity_bomb,
    "xml_external_entity": external_entity,
    "xml_external_dtd": external_dtd,
    "xml_schema_location": schema_location,
    "xml_foreign_namespace": foreign_namespace,
    "xml_oversized": oversized,
}


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    for name, make in CASES.items():
        data = make()
        with open(os.path.join(folder, name + ".kzf"), "wb") as out:
            out.write(data)


if __name__ == "__main__":
    main()
