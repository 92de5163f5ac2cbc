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


VICTIM = "p.bin"
VICTIM_TEXT = b"stored content of the victim part"
P = '<fileEntry name="p" content="/p.bin" type="File"/>'


def one(name, data=b"x", extra=""):
    """A package of one entry whose content is the victim part holding `data`."""
    return simple([entry(name, "/p.bin", "File", extra)], {VICTIM: data})


# --- Zip-level editing: the central directory and local headers of a finished archive. ---

def record_of(data, name):
    """(offset of the central record of `name`, offset of its local header)."""
    eocd = data.rindex(b"PK\x05\x06")
    count, _, at = struct.unpack_from("<HII", data, eocd + 10)
    for _ in range(count):
        name_len, extra_len, comment_len = struct.unpack_from("<HHH", data, at + 28)
        if data[at + 46:at + 46 + name_len].decode() == name:
            return at, struct.unpack_from("<I", data, at + 42)[0]
        at += 46 + name_len + extra_len + comment_len
    raise KeyError(name)


def zip_patched(edit):
    """The victim package with `edit(data, central record offset, local header offset)` done."""
    data = bytearray(simple([P], {VICTIM: VICTIM_TEXT}))
    edit(data, *record_of(data, VICTIM))
    return bytes(data)


def or16(data, at, value):
    struct.pack_into("<H", data, at, struct.unpack_from("<H", data, at)[0] | value)


def zip_overlap():
    # A second central record whose data is the victim's own bytes.
    data = bytearray(simple([P, entry("q", "/q.bin", "File")],
                            {VICTIM: VICTIM_TEXT, "q.bin": VICTIM_TEXT}))
    struct.pack_into("<I", data, record_of(data, "q.bin")[0] + 42, record_of(data, VICTIM)[1])
    return bytes(data)


def zip_duplicates():
    import warnings
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return package(manifest([P]), {VICTIM: VICTIM_TEXT},
                       extra_items=[(VICTIM, b"a second item of the same name")])


def xml_case(prolog="", root_attributes="", namespace=MANIFEST_NS, name="p"):
    """The file manifest itself attacks the parser."""
    xml = manifest([entry(name, "/p.bin", "File")], prolog, root_attributes)
    return package(xml.replace(MANIFEST_NS, namespace), {VICTIM: VICTIM_TEXT})


BOMB = "".join(['<!ENTITY e0 "boom">'] +
               ['<!ENTITY e%d "%s">' % (i, ("&e%d;" % (i - 1)) * 10) for i in range(1, 10)])

CASES = {
    # Names.
    "dotdot_name": lambda: one("../outside/pwned"),
    "dotdot_inside_name": lambda: one("a/../../outside/pwned"),
    "dotdot_folder": lambda: simple([entry("..", "", "Folder")], {}),
    "dot_component": lambda: one("a/./b"),
    "absolute_double_slash": lambda: one("//outside/pwned"),
    "absolute_link_name": lambda: simple([entry("/abs-link", "/l.bin", "SymLink")],
                                         {"l.bin": b"target-inside"}),
    "trailing_slash": lambda: one("a/"),
    "backslash": lambda: one("..\\outside\\pwned"),
    "nul_character": lambda: one("a&#0;b"),
    "newline_character": lambda: one("a&#10;b"),
    "tab_character": lambda: one("a&#9;b"),
    "long_component": lambda: one("a" * 256),
    "long_path": lambda: one("/".join(["d" * 200] * 21)),  # 4220 bytes, each component fits
    "folder_then_file_same_name": lambda: simple(
        [entry("/d", "", "Folder"), entry("d", "/p.bin", "File")], {VICTIM: b"x"}),
    # Links.
    "absolute_link_target": lambda: simple([entry("l", "/l.bin", "SymLink")], {"l.bin": b"/etc"}),
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
    "through_planted_link": lambda: one("evil/pwned"),
    "over_planted_link": lambda: one("victim", data=b"replaced"),
    "over_planted_hard_link": lambda: one("victim", data=b"replaced"),
    # Modes and parts.
    "setuid_bits": lambda: one("tool", data=b"#!/bin/sh\n", extra=' permissions="3583"'),
    "many_entries_one_part": lambda: simple(
        [entry("copy%03d" % i, "/p.bin", "File") for i in range(200)], {VICTIM: b"x" * 1024}),
    "missing_part": lambda: simple([entry("f", "/missing.bin", "File")], {}),
    "file_manifest_as_content": lambda: simple([entry("f", "/" + MANIFEST_PART, "File")], {}),
    "own_configuration_manifest": lambda: simple(
        [entry("/.META/manifest.xml", "/.META/manifest.xml", "File")],
        {".META/manifest.xml": b"<configuration/>"}),
    # The zip container.
    "zip_truncated": lambda: zip_patched(lambda d, c, l: d.__delitem__(slice(len(d) // 2, None))),
    "zip_bad_crc": lambda: zip_patched(
        lambda d, c, l: d.__setitem__(d.index(VICTIM_TEXT), d[d.index(VICTIM_TEXT)] ^ 0x20)),
    "zip_wrong_sizes": lambda: zip_patched(
        lambda d, c, l: struct.pack_into("<I", d, c + 24, len(VICTIM_TEXT) + 1000)),
    "zip_name_mismatch": lambda: zip_patched(lambda d, c, l: d.__setitem__(l + 30, ord("q"))),
    "zip_overlap": zip_overlap,
    "zip_duplicates": zip_duplicates,
    "zip_unknown_method": lambda: zip_patched(
        lambda d, c, l: (struct.pack_into("<H", d, c + 10, 99), struct.pack_into("<H", d, l + 8, 99))),
    "zip_encryption_flag": lambda: zip_patched(lambda d, c, l: (or16(d, c + 8, 1), or16(d, l + 6, 1))),
    # The XML of the file manifest.
    "xml_entity_bomb": lambda: xml_case("<!DOCTYPE fileEntries [" + BOMB + "]>", name="&e9;"),
    "xml_external_entity": lambda: xml_case(
        '<!DOCTYPE fileEntries [<!ENTITY x SYSTEM "file:///etc/hostname">]>', name="&x;"),
    "xml_external_dtd": lambda: xml_case('<!DOCTYPE fileEntries SYSTEM "../outside/secret.dtd">'),
    # Names a file that exists and is no schema: reading it would fail the load.
    "xml_schema_location": lambda: xml_case(root_attributes=(
        ' xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
        'xsi:schemaLocation="' + MANIFEST_NS + ' file:///etc/hostname"')),
    "xml_foreign_namespace": lambda: xml_case(namespace="urn:someone-else"),
    # Past the parser's 32 MiB cap; a comment keeps the rest of the document valid.
    "xml_oversized": lambda: xml_case("<!--" + "x" * (33 * 1024 * 1024) + "-->"),
}


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    os.makedirs(sys.argv[1], exist_ok=True)
    for name, make in CASES.items():
        with open(os.path.join(sys.argv[1], name + ".kzf"), "wb") as out:
            out.write(make())


if __name__ == "__main__":
    main()
