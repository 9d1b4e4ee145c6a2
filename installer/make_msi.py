#!/usr/bin/env python3
"""Builds a Windows Installer package of the add-in with wixl (msitools).

    make_msi.py --dll quillbox.dll --arch x64|x86 --scope machine|user --out-dir DIR [--wxs FILE]

Writes DIR/Quillbox-<version>-<arch>.msi (per machine) or
DIR/Quillbox-<version>-<arch>-user.msi (per user) and prints its path.
The version and the publisher are read from the DLL's version resource.

With a certificate (sign.py's options, or the SIGN_* environment variables
`make dist` passes on) the DLL is signed before it goes into the package and
the package is signed after; without one both stay unsigned, and it says so
on standard error.

The package copies the DLL into its folder and writes the add-in's registry
values (registry_keys.txt) through the installer's own Registry table, in the
registry view of its bitness; nothing is self-registered. Each of the four
kinds has an upgrade code of its own, fixed forever, so that a newer package
of a kind replaces the older one (major upgrade).
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import uuid
from xml.sax.saxutils import quoteattr

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dll_version  # noqa: E402
import sign  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
ICON = os.path.join(ROOT, "host", "qbx_button.ico")
WEB_ADDRESS = "https://www.quillbox.example/"

# Never change these: they tie every later version of a package to the earlier ones.
UPGRADE_CODES = {
    ("x64", "machine"): "3519649C-50A5-4E46-9037-F96721FA4CE4",
    ("x86", "machine"): "85899943-44BB-4A08-AE2D-3E64D309CAA2",
    ("x64", "user"): "17AE9AE0-F1EE-4F31-97EC-514AA5FCBF39",
    ("x86", "user"): "7565FC54-F634-4516-8511-03D3BB86CD0C",
}
# The component's GUID is derived from the kind, so it stays the same from
# version to version, as Windows Installer requires.
COMPONENT_NAMESPACE = uuid.UUID("9D867408-3D9B-4FC2-88CD-5708E1506119")


def read_keys(path=os.path.join(HERE, "registry_keys.txt")):
    """[(key, name or None, 'string'|'dword', data)] from the key list."""
    keys = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            key, name, kind, data = line.split("\t")
            if kind not in ("string", "dword"):
                raise ValueError("unknown value type %r in %s" % (kind, path))
            keys.append((key, None if name == "-" else name, kind, data))
    return keys


def package_name(version, arch, scope):
    return "Quillbox-%s-%s%s.msi" % (version, arch, "-user" if scope == "user" else "")


def install_folder(arch, scope):
    """Directory elements down to INSTALLDIR, as (Id, Name) pairs below TARGETDIR."""
    if scope == "machine":
        return [("ProgramFiles64Folder" if arch == "x64" else "ProgramFilesFolder", None),
                ("INSTALLDIR", "Quillbox")]
    # Where Windows itself puts per-user programs; the two bitnesses apart.
    return [("LocalAppDataFolder", None), ("UserPrograms", "Programs"),
            ("INSTALLDIR", "Quillbox" if arch == "x64" else "Quillbox (32-bit)")]


def wxs(version, publisher, arch, scope, keys):
    root = "HKLM" if scope == "machine" else "HKCU"
    bits = "64" if arch == "x64" else "32"
    component_guid = str(uuid.uuid5(COMPONENT_NAMESPACE, "%s-%s-dll" % (arch, scope))).upper()
    values = []
    for key, name, kind, data in keys:
        value = "[#quillbox.dll]" if data == "<dll>" else data
        values.append('<RegistryValue Root="%s" Key=%s%s Type="%s" Value=%s/>' % (
            root, quoteattr(key), "" if name is None else " Name=%s" % quoteattr(name),
            "integer" if kind == "dword" else "string", quoteattr(value)))
    folders = install_folder(arch, scope)
    opening = "\n".join("      " + "  " * i + '<Directory Id="%s"%s>' % (d, "" if n is None else ' Name="%s"' % n)
                        for i, (d, n) in enumerate(folders))
    closing = "\n".join("      " + "  " * i + "</Directory>" for i in reversed(range(len(folders))))
    pad = "  " * len(folders)
    return """<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="*" Name="Quillbox" Language="1033" Version=%(version)s Manufacturer=%(publisher)s
           UpgradeCode="%(upgrade)s">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="%(install_scope)s"
             Description="Quillbox add-in for %(bits)s-bit Outlook"/>
    <MajorUpgrade DowngradeErrorMessage="A newer version of Quillbox is already installed."/>
    <Media Id="1" Cabinet="quillbox.cab" EmbedCab="yes"/>
    <Icon Id="quillbox.ico" SourceFile="quillbox.ico"/>
    <Property Id="ARPPRODUCTICON" Value="quillbox.ico"/>
    <Property Id="ARPHELPLINK" Value="%(web)s"/>
    <Property Id="ARPURLINFOABOUT" Value="%(web)s"/>
    <Property Id="ARPNOMODIFY" Value="1"/>
    <Directory Id="TARGETDIR" Name="SourceDir">
%(opening)s
      %(pad)s<Component Id="AddIn" Guid="%(component)s"%(win64)s>
      %(pad)s  <File Id="quillbox.dll" Name="quillbox.dll" Source="quillbox.dll" KeyPath="yes"/>
%(values)s
      %(pad)s</Component>
%(closing)s
    </Directory>
    <Feature Id="AddIn" Title="Quillbox" Level="1" Absent="disallow">
      <ComponentRef Id="AddIn"/>
    </Feature>
  </Product>
</Wix>
""" % {
        "version": quoteattr(version), "publisher": quoteattr(publisher),
        "upgrade": UPGRADE_CODES[(arch, scope)], "bits": bits, "web": WEB_ADDRESS,
        "install_scope": "perMachine" if scope == "machine" else "perUser",
        "opening": opening, "closing": closing, "pad": pad, "component": component_guid,
        "win64": ' Win64="yes"' if arch == "x64" else "",
        "values": "\n".join("        " + pad + v for v in values),
    }


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--dll", required=True)
    p.add_argument("--arch", required=True, choices=["x64", "x86"])
    p.add_argument("--scope", required=True, choices=["machine", "user"])
    p.add_argument("--out-dir", required=True)
    p.add_argument("--wxs", help="also keep the generated WiX source here")
    sign.add_arguments(p)
    a = p.parse_args()
    try:
        signer = sign.Signer.from_args(a)
    except sign.SigningError as e:
        sys.exit("make_msi.py: %s" % e)
    with open(a.dll, "rb") as f:
        data = f.read()
    version = dll_version.product_version(data)
    source = wxs(version, dll_version.company_name(data), a.arch, a.scope, read_keys())
    if a.wxs:
        with open(a.wxs, "w", encoding="utf-8") as f:
            f.write(source)
    os.makedirs(a.out_dir, exist_ok=True)
    out = os.path.abspath(os.path.join(a.out_dir, package_name(version, a.arch, a.scope)))
    # wixl finds its source files relative to the working folder only.
    with tempfile.TemporaryDirectory(prefix="qbx-msi.") as stage:
        staged_dll = os.path.join(stage, "quillbox.dll")
        shutil.copyfile(a.dll, staged_dll)
        shutil.copyfile(ICON, os.path.join(stage, "quillbox.ico"))
        with open(os.path.join(stage, "quillbox.wxs"), "w", encoding="utf-8") as f:
            f.write(source)
        try:
            # The DLL is signed before it goes in: Office checks the DLL it
            # loads, Windows Installer the package.
            if signer.enabled:
                signer.sign(staged_dll)
            subprocess.run(["wixl", "-a", a.arch, "-o", out, "quillbox.wxs"], cwd=stage, check=True)
            if signer.enabled:
                signer.sign(out)
        except sign.SigningError as e:
            if os.path.exists(out):
                os.remove(out)
            sys.exit("make_msi.py: %s" % e)
    if not signer.enabled:
        print("%s: not signed (no certificate given)" % os.path.basename(out), file=sys.stderr)
    print(out)


if __name__ == "__main__":
    main()
