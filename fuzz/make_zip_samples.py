#!/usr/bin/env python3
"""Writes zip archives the way other zip tools write them, into OUTPUT_FOLDER: items with data
descriptors (written to a stream that cannot seek), Zip64 records on few items, extra fields
the reader does not know, archive comments, an empty archive. They seed the zip fuzzer, and
the tests read every one back. With --rewrite IN OUT it copies the archive IN to OUT item by item
the same way (data descriptors, Zip64 blocks, unknown extra fields, a comment).

Every item's content is a function of its name (see content()), so a reader checks them
without a second listing; a name ending in "/" is an empty folder item."""
import io
import sys
import zipfile
from pathlib import Path

NAMES = ["readme.txt", "bin/run.sh", "empty.dat", "lib/", "lib/toolbox/f.m"]


def content(name):
    if name.endswith("/") or name.startswith("empty"):
        return b""
    return (name + "\n").encode() * 40


class Unseekable(io.RawIOBase):
    """A sink without tell() or seek(): zipfile then writes a data descriptor after each
    item's data instead of going back to its local header."""

    def __init__(self):
        self.data = bytearray()

    def writable(self):
        return True

    def write(self, b):
        self.data += b
        return len(b)


def write_items(archive, compression=zipfile.ZIP_DEFLATED, zip64=False, extra=b""):
    for name in NAMES:
        info = zipfile.ZipInfo(name, date_time=(2024, 5, 17, 12, 30, 0))
        info.compress_type = zipfile.ZIP_STORED if name.endswith("/") else compression
        info.external_attr = (0o40755 if name.endswith("/") else 0o100644) << 16
        info.extra = extra
        with archive.open(info, "w", force_zip64=zip64) as item:
            item.write(content(name))


def streamed(**options):
    sink = Unseekable()
    comment = options.pop("comment", b"")
    with zipfile.ZipFile(sink, "w") as archive:
        write_items(archive, **options)
        archive.comment = comment
    return bytes(sink.data)


def seekable(comment=b"", zip64_end=False, **options):
    buffer = io.BytesIO()
    limit = zipfile.ZIP_FILECOUNT_LIMIT
    if zip64_end:
        zipfile.ZIP_FILECOUNT_LIMIT = 0  # makes zipfile write the Zip64 end records anyway
    try:
        with zipfile.ZipFile(buffer, "w") as archive:
            if options.pop("items", True):
                write_items(archive, **options)
            archive.comment = comment
    finally:
        zipfile.ZIP_FILECOUNT_LIMIT = limit
    return buffer.getvalue()


# A timestamp block (0x5455) and a block of an id nobody assigned.
UNKNOWN_EXTRA = b"UT\x05\x00\x01\x00\x00\x00\x00" + b"\xfe\xca\x04\x00abcd"

SAMPLES = {
    "data-descriptors.zip": lambda: streamed(),
    "data-descriptors-stored.zip": lambda: streamed(compression=zipfile.ZIP_STORED),
    "data-descriptors-zip64.zip": lambda: streamed(zip64=True),
    "zip64-items.zip": lambda: seekable(zip64=True),
    "zip64-end-records-few-items.zip": lambda: seekable(zip64_end=True),
    "unknown-extra-fields.zip": lambda: seekable(extra=UNKNOWN_EXTRA),
    "archive-comment.zip": lambda: seekable(comment=b"written by another tool"),
    "empty-archive.zip": lambda: seekable(items=False),
    "empty-archive-with-comment.zip": lambda: seekable(items=False, comment=b"nothing here"),
}


def rewrite(source, target):
    sink = Unseekable()
    with zipfile.ZipFile(source) as old, zipfile.ZipFile(sink, "w") as new:
        for item in old.infolist():
            info = zipfile.ZipInfo(item.filename, date_time=item.date_time)
            info.compress_type = item.compress_type
            info.external_attr = item.external_attr
            info.extra = UNKNOWN_EXTRA
            with new.open(info, "w", force_zip64=True) as out:
                out.write(old.read(item))
        new.comment = b"rewritten by another tool"
    Path(target).write_bytes(bytes(sink.data))


def main():
    if len(sys.argv) == 4 and sys.argv[1] == "--rewrite":
        rewrite(sys.argv[2], sys.argv[3])
        return
    if len(sys.argv) != 2:
        sys.exit("usage: make_zip_samples.py OUTPUT_FOLDER | --rewrite IN OUT")
    out = Path(sys.argv[1])
    out.mkdir(parents=True, exist_ok=True)
    for name, make in SAMPLES.items():
        (out / name).write_bytes(make())


if __name__ == "__main__":
    main()
