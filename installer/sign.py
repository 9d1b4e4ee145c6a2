#!/usr/bin/env python3
"""Authenticode signing of the DLL and the packages, with osslsigncode.

The certificate is given either as a certificate file (PEM or DER, the chain
may follow the signer's certificate) with its private key, or as a PKCS#12
file. A password, when the key or the PKCS#12 file has one, comes from the
environment (SIGN_PASSWORD) or a file (SIGN_PASSWORD_FILE), never from the
command line, and reaches osslsigncode through a private file. A timestamp
server (RFC 3161) is optional; without one a signature is valid only as long
as the certificate is.

Every option falls back to the environment variable of the same name
(SIGN_CERT, SIGN_KEY, SIGN_PKCS12, SIGN_PASSWORD_FILE, SIGN_TIMESTAMP), which
is how `make dist` hands them on.

    sign.py FILE... [--sign-cert C --sign-key K | --sign-pkcs12 P] [--sign-timestamp URL]

signs each FILE in place.
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile

DESCRIPTION = "Quillbox"
WEB_ADDRESS = "https://www.quillbox.example/"
ENV = ("SIGN_CERT", "SIGN_KEY", "SIGN_PKCS12", "SIGN_PASSWORD_FILE", "SIGN_TIMESTAMP")


class SigningError(Exception):
    pass


def add_arguments(parser):
    """The signing options, each defaulting to its environment variable."""
    g = parser.add_argument_group("signing (each also read from the environment variable in capitals)")
    for name in ENV:
        option = "--" + name.lower().replace("_", "-")
        g.add_argument(option, dest=name.lower(), default=os.environ.get(name) or None, metavar=name)


class Signer:
    """What to sign with; `enabled` is false when no certificate was given."""

    def __init__(self, cert=None, key=None, pkcs12=None, password=None, password_file=None, timestamp=None):
        if pkcs12 and (cert or key):
            raise SigningError("give either a certificate and its key or a PKCS#12 file, not both")
        if bool(cert) != bool(key):
            raise SigningError("a certificate needs its private key (SIGN_CERT and SIGN_KEY)")
        for path in (cert, key, pkcs12, password_file):
            if path and not os.path.isfile(path):
                raise SigningError("no such file: %s" % path)
        if password is not None and password_file:
            raise SigningError("give the password either in SIGN_PASSWORD or in SIGN_PASSWORD_FILE")
        self.cert, self.key, self.pkcs12 = cert, key, pkcs12
        self.password, self.password_file, self.timestamp = password, password_file, timestamp
        if self.enabled and not shutil.which("osslsigncode"):
            raise SigningError("osslsigncode is not installed (Debian package osslsigncode)")

    @classmethod
    def from_args(cls, a):
        return cls(a.sign_cert, a.sign_key, a.sign_pkcs12, os.environ.get("SIGN_PASSWORD") or None,
                   a.sign_password_file, a.sign_timestamp)

    @property
    def enabled(self):
        return bool(self.cert or self.pkcs12)

    def sign(self, path):
        """Signs the DLL or package at path in place (a signature already there is replaced)."""
        with tempfile.TemporaryDirectory(prefix="qbx-sign.") as work:
            args = ["osslsigncode", "sign", "-h", "sha256", "-n", DESCRIPTION, "-i", WEB_ADDRESS]
            if self.pkcs12:
                args += ["-pkcs12", self.pkcs12]
            else:
                args += ["-certs", self.cert, "-key", self.key]
            if self.password_file:
                args += ["-readpass", self.password_file]
            elif self.password is not None:
                secret = os.path.join(work, "password")
                fd = os.open(secret, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
                with os.fdopen(fd, "w", encoding="utf-8") as f:
                    f.write(self.password)
                args += ["-readpass", secret]
            if self.timestamp:
                args += ["-ts", self.timestamp]
            signed = os.path.join(work, "signed")
            done = subprocess.run(args + ["-in", path, "-out", signed], stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True)
            if done.returncode != 0 or not os.path.isfile(signed):
                raise SigningError("signing %s failed:\n%s" % (path, done.stdout.strip()))
            shutil.copyfile(signed, path)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("files", nargs="+")
    add_arguments(p)
    a = p.parse_args()
    try:
        signer = Signer.from_args(a)
        if not signer.enabled:
            raise SigningError("no certificate given (SIGN_CERT and SIGN_KEY, or SIGN_PKCS12)")
        for f in a.files:
            signer.sign(f)
    except SigningError as e:
        sys.exit("sign.py: %s" % e)


if __name__ == "__main__":
    main()
