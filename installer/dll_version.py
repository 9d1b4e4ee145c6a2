"""Reads the version resource of a Windows DLL (the VS_VERSIONINFO block).

The installer takes its version and publisher from the DLL it packages, so a
package can never claim a version its DLL does not carry.
"""
import struct

_FIXED_SIGNATURE = 0xFEEF04BD


def _utf16z(text):
    return (text + "\0").encode("utf-16-le")


def version_block(data):
    """(start, end) of the VS_VERSIONINFO block in the file's bytes."""
    at = data.find(_utf16z("VS_VERSION_INFO"))
    if at < 6:
        raise ValueError("no version resource")
    start = at - 6  # wLength, wValueLength, wType come before the key
    (length,) = struct.unpack_from("<H", data, start)
    return start, start + length


def fixed_info_offset(data):
    """Offset of VS_FIXEDFILEINFO (its signature), 4-byte aligned after the key."""
    start, _ = version_block(data)
    at = start + 6 + len(_utf16z("VS_VERSION_INFO"))
    at += -(at - start) % 4
    if struct.unpack_from("<I", data, at)[0] != _FIXED_SIGNATURE:
        raise ValueError("version resource without fixed file information")
    return at


def string_value(data, name):
    """(offset, length in characters, text) of a StringFileInfo value such as
    "ProductVersion"; the length leaves out the terminating zero."""
    start, end = version_block(data)
    key = _utf16z(name)
    at = data.find(key, start, end)
    if at < 6:
        raise ValueError("version resource has no %s" % name)
    (chars,) = struct.unpack_from("<H", data, at - 4)  # wValueLength, in characters
    value = at + len(key)
    value += -(value - start) % 4
    text = data[value:value + 2 * chars].decode("utf-16-le").rstrip("\0")
    return value, len(text), text


def product_version(data):
    return string_value(data, "ProductVersion")[2]


def company_name(data):
    return string_value(data, "CompanyName")[2]
