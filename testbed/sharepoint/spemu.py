#!/usr/bin/env python3
"""Loopback SharePoint emulator for the Quillbox test bed.

Emulates the small part of a SharePoint server that the add-in talks to:

* HTTP PUT of a document into a document library (201 CREATED / 200 OK),
* GET of a stored document,
* the SOAP call GetListCollection of <site>_vti_bin/lists.asmx,

plus a JSON control API under /_emu/ through which tests read the request
log and the stored documents and inject faults (authentication challenges,
server errors, connection resets, slow replies, odd reason phrases, broken or
hostile XML, redirects to a sign-in page or elsewhere).

Standard library only. Binds 127.0.0.1 and nothing else.
"""

import argparse
import base64
import copy
import hashlib
import html
import http.server
import io
import itertools
import json
import mimetypes
import os
import secrets
import signal
import socket
import struct
import sys
import tempfile
import threading
import time
import traceback
import urllib.parse
import urllib.request
import uuid
from xml.sax.saxutils import quoteattr, escape as xml_escape

HOST = "127.0.0.1"
SOAP_NS = "http://schemas.microsoft.com/sharepoint/soap/"
SOAP_ENV_NS = "http://schemas.xmlsoap.org/soap/envelope/"
XSI_NS = "http://www.w3.org/2001/XMLSchema-instance"
XSD_NS = "http://www.w3.org/2001/XMLSchema"
GET_LIST_COLLECTION_ACTION = SOAP_NS + "GetListCollection"

CONTROL_PREFIX = "/_emu/"
# The sign-in page a server behind single sign-on sends its visitors to. It
# answers "200 OK" to every method, as such pages do, and stores nothing.
SIGNIN_PATH = "/_login/signin.aspx"
REDIRECT_CODES = (301, 302, 303, 307, 308)
LISTS_SERVICE = "_vti_bin/lists.asmx"

LOG_BODY_LIMIT = 64 * 1024      # bodies up to this size are kept in the log
LOG_MAX_ENTRIES = 20000         # older entries are dropped beyond this
IO_CHUNK = 1024 * 1024
MAX_DELAY = 600.0
MAX_MANY = 200000

# Reason phrases the emulator puts on its status lines.  PUT replies use the
# upper-case forms because that is what the add-in compares against.
REASONS = {
    100: "Continue",
    200: "OK",
    201: "CREATED",
    204: "No Content",
    400: "Bad Request",
    301: "Moved Permanently",
    302: "Found",
    303: "See Other",
    307: "Temporary Redirect",
    308: "Permanent Redirect",
    401: "Unauthorized",
    403: "Forbidden",
    404: "Not Found",
    405: "Method Not Allowed",
    409: "Conflict",
    411: "Length Required",
    500: "Internal Server Error",
}

FAULT_MODES = ("401", "403", "404", "500", "reset", "slow", "case", "reason",
               "notxml", "dtd", "nolists", "many", "redirect")
# Modes that only concern the lists.asmx reply; other requests neither see
# them nor use up their count.
LISTS_ONLY_MODES = ("notxml", "dtd", "nolists", "many")

# Base type -> default server template, image and description.
LIST_KINDS = {
    0: (100, "/_layouts/images/itgen.gif", "A generic list."),
    1: (101, "/_layouts/images/itdl.gif", "Share a document with the team by adding it to this document library."),
    3: (108, "/_layouts/images/itdisc.gif", "A discussion board."),
    4: (102, "/_layouts/images/itsurvey.gif", "A survey."),
    5: (1100, "/_layouts/images/itissue.gif", "Track issues."),
}
TEMPLATE_IMAGES = {
    104: "/_layouts/images/itann.gif",
    105: "/_layouts/images/itcontct.gif",
    107: "/_layouts/images/ittask.gif",
    106: "/_layouts/images/itevent.gif",
}

DEFAULT_SAMPLE = {
    "sites": [
        {
            "path": "/sites/team/",
            "title": "Team",
            "lists": [
                {"title": "Shared Documents", "url": "Shared Documents",
                 "base_type": 1, "server_template": 101},
                {"title": "Proposals", "url": "Proposals",
                 "base_type": 1, "server_template": 101},
                {"title": "Announcements", "url": "Lists/Announcements",
                 "base_type": 0, "server_template": 104,
                 "description": "Use the Announcements list to post messages on the home page of your site.",
                 "item_count": 1},
                {"title": "Tasks", "url": "Lists/Tasks",
                 "base_type": 0, "server_template": 107,
                 "description": "Use the Tasks list to keep track of work that you or your team needs to complete.",
                 "item_count": 3},
                {"title": "Contacts", "url": "Lists/Contacts",
                 "base_type": 0, "server_template": 105,
                 "description": "Use the Contacts list for information about people that your team works with.",
                 "item_count": 2},
            ],
        },
        {
            "path": "/",
            "title": "Home",
            "lists": [
                {"title": "Documents", "url": "Documents",
                 "base_type": 1, "server_template": 101},
            ],
        },
    ]
}


class ConfigError(ValueError):
    pass


# ---------------------------------------------------------------------------
# Paths
# ---------------------------------------------------------------------------

def decode_path(raw):
    """Split a request target into (decoded path, query, raw encoding name).

    The request line reaches us as ISO-8859-1 text, so its characters map one
    to one onto the bytes on the wire.  Percent escapes are undone on those
    bytes, and the result is read as UTF-8, falling back to the Windows ANSI
    code page (clients on Windows may send that) and finally Latin-1.
    """
    target = raw
    if target.lower().startswith(("http://", "https://")):
        # Absolute form: drop scheme and authority.
        rest = target.split("://", 1)[1]
        target = "/" + rest.split("/", 1)[1] if "/" in rest else "/"
    path, _, query = target.partition("?")
    data = urllib.parse.unquote_to_bytes(path.encode("latin-1", "replace"))
    for enc in ("utf-8", "cp1252", "latin-1"):
        try:
            decoded = data.decode(enc)
            break
        except UnicodeDecodeError:
            continue
    return decoded, query


def raw_text(raw):
    """Readable form of the raw target plus the name of how it was read."""
    data = raw.encode("latin-1", "replace")
    try:
        data.decode("ascii")
        return raw, "ascii"
    except UnicodeDecodeError:
        pass
    try:
        return data.decode("utf-8"), "utf-8"
    except UnicodeDecodeError:
        return raw, "latin-1"


def norm_site_path(path):
    path = "/" + path.strip().strip("/")
    if path != "/":
        path += "/"
    return path


def fold(text):
    return text.casefold()


# ---------------------------------------------------------------------------
# Sites and lists
# ---------------------------------------------------------------------------

class SpList:
    """One list of a site, document library or otherwise."""

    def __init__(self, site_path, conf):
        if not isinstance(conf, dict):
            raise ConfigError("a list must be a JSON object")
        title = conf.get("title") or conf.get("url")
        if not title:
            raise ConfigError("a list needs a title or url")
        self.title = str(title)
        base_type = conf.get("base_type")
        if base_type is None:
            # Without a base type: a library unless the template or the
            # "Lists/" address says otherwise.
            template = conf.get("server_template")
            in_lists = str(conf.get("url", "")).startswith("Lists/")
            base_type = 1 if template in (None, 101) and not in_lists else 0
        self.base_type = int(base_type)
        kind = LIST_KINDS.get(self.base_type, LIST_KINDS[0])
        self.server_template = int(conf.get("server_template", kind[0]))
        default_url = self.title if self.base_type == 1 else "Lists/" + self.title.replace(" ", "")
        self.url = str(conf.get("url", default_url)).strip("/")
        if not self.url:
            raise ConfigError("list url must not be empty")
        for seg in self.url.split("/"):
            if seg in ("", ".", ".."):
                raise ConfigError("bad list url %r" % self.url)
        self.site_path = site_path
        self.description = str(conf.get("description", kind[2] if self.base_type == 1 else ""))
        self.image_url = str(conf.get("image_url", TEMPLATE_IMAGES.get(self.server_template, kind[1])))
        self.id = str(conf.get("id") or "{%s}" % str(uuid.uuid5(uuid.NAMESPACE_URL, "spemu:" + fold(site_path + self.url))).upper())
        self.item_count = conf.get("item_count")
        self.hidden = bool(conf.get("hidden", False))
        self.created = str(conf.get("created", "20070101 09:00:00"))
        self.default_view_url = conf.get("default_view_url")
        self.doc_template_url = conf.get("doc_template_url")
        extra = conf.get("attrs", {})
        if not isinstance(extra, dict):
            raise ConfigError("attrs must be an object")
        self.extra_attrs = {str(k): str(v) for k, v in extra.items()}

    @property
    def is_library(self):
        return self.base_type == 1

    @property
    def full_path(self):
        return self.site_path + self.url + "/"

    def to_json(self):
        return {"title": self.title, "url": self.url, "base_type": self.base_type,
                "server_template": self.server_template, "id": self.id,
                "path": self.full_path}


class Site:
    def __init__(self, conf):
        if not isinstance(conf, dict) or "path" not in conf:
            raise ConfigError("a site needs a path")
        self.path = norm_site_path(str(conf["path"]))
        self.title = str(conf.get("title", self.path.strip("/").split("/")[-1] or "Home"))
        self.lists = []
        for item in conf.get("lists", []):
            self.add_list(item)

    def add_list(self, item):
        lst = SpList(self.path, item)
        self.lists = [l for l in self.lists if fold(l.url) != fold(lst.url)]
        self.lists.append(lst)
        return lst

    def to_json(self):
        return {"path": self.path, "title": self.title,
                "lists": [l.to_json() for l in self.lists]}


# ---------------------------------------------------------------------------
# Emulator state
# ---------------------------------------------------------------------------

class Fault:
    def __init__(self, mode, path, count, params):
        self.mode = mode
        self.path = path
        self.remaining = count
        self.params = params

    def to_json(self):
        return {"mode": self.mode, "path": self.path,
                "remaining": self.remaining, "params": self.params}


class State:
    def __init__(self, root, verbose=False):
        self.root = os.path.abspath(root)
        self.verbose = verbose
        self.lock = threading.RLock()
        self.sites = {}           # folded site path -> Site
        self.faults = []          # newest first
        self.log = []
        self.log_dropped = 0
        self.seq = itertools.count(1)
        self.conn_seq = itertools.count(1)
        self.port = 0
        self.work_dir = os.path.join(self.root, ".spemu")
        self.tmp_dir = os.path.join(self.work_dir, "tmp")
        os.makedirs(self.tmp_dir, exist_ok=True)
        # A local file that a hostile XML reply points an external entity at;
        # its marker text must never show up in what a client produces.
        self.secret_path = os.path.join(self.work_dir, "secret.txt")
        self.secret = "SPEMU-SECRET-" + secrets.token_hex(8)
        with open(self.secret_path, "w", encoding="ascii") as fh:
            fh.write(self.secret + "\n")

    # -- sites --------------------------------------------------------------

    def set_site(self, conf):
        site = Site(conf)
        with self.lock:
            self.sites[fold(site.path)] = site
        for lst in site.lists:
            if lst.is_library:
                os.makedirs(self.library_dir(lst), exist_ok=True)
        return site

    def library_dir(self, lst):
        rel = (lst.site_path + lst.url).strip("/")
        return os.path.join(self.root, *rel.split("/"))

    def find_library(self, path):
        """Longest library whose path is a prefix of path; returns (list, rest)."""
        best = None
        with self.lock:
            for site in self.sites.values():
                for lst in site.lists:
                    if not lst.is_library:
                        continue
                    prefix = lst.full_path
                    if fold(path[:len(prefix)]) == fold(prefix) and (
                            best is None or len(prefix) > len(best.full_path)):
                        best = lst
        if best is None:
            return None, None
        return best, path[len(best.full_path):]

    def find_site_for_service(self, path):
        fpath = fold(path)
        suffix = "/" + LISTS_SERVICE
        if not fpath.endswith(suffix):
            return None
        site_key = fpath[: len(fpath) - len(LISTS_SERVICE)]
        with self.lock:
            return self.sites.get(site_key)

    # -- faults -------------------------------------------------------------

    def add_fault(self, fault):
        with self.lock:
            self.faults.insert(0, fault)

    def take_fault(self, path, is_lists_call):
        """The newest fault that matches this request, its count used up by one."""
        fpath = fold(path)
        with self.lock:
            for fault in self.faults:
                if fault.mode in LISTS_ONLY_MODES and not is_lists_call:
                    continue
                if not fpath.startswith(fold(fault.path)):
                    continue
                if fault.mode == "redirect" and self.is_redirect_target(fault, fpath):
                    continue   # the place a redirect sends to is not redirected again
                if fault.remaining is not None:
                    fault.remaining -= 1
                    if fault.remaining <= 0:
                        self.faults.remove(fault)
                return Fault(fault.mode, fault.path, fault.remaining, dict(fault.params))
        return None

    def other_library(self, path):
        """The first library that does not hold path (a redirect's default
        target), as its path; None when there is none."""
        with self.lock:
            for site in self.sites.values():
                for lst in site.lists:
                    if lst.is_library and not fold(path).startswith(fold(lst.full_path)):
                        return lst.full_path
        return None

    def is_redirect_target(self, fault, fpath):
        if fpath.startswith(fold(SIGNIN_PATH)):
            return True
        target = fault.params.get("library")
        return fault.params.get("to") == "library" and target is not None and fpath.startswith(fold(target))

    # -- log ----------------------------------------------------------------

    def new_entry(self, **fields):
        entry = dict(fields)
        with self.lock:
            entry["id"] = next(self.seq)
            self.log.append(entry)
            if len(self.log) > LOG_MAX_ENTRIES:
                drop = len(self.log) - LOG_MAX_ENTRIES
                del self.log[:drop]
                self.log_dropped += drop
        return entry

    def update_entry(self, entry, **fields):
        with self.lock:
            entry.update(fields)

    def reset(self, documents=False):
        with self.lock:
            self.log = []
            self.log_dropped = 0
            self.faults = []
            libs = [l for s in self.sites.values() for l in s.lists if l.is_library]
            if documents:
                for lst in libs:
                    self._clear_dir(self.library_dir(lst))

    @staticmethod
    def _clear_dir(path):
        if not os.path.isdir(path):
            return
        for name in os.listdir(path):
            full = os.path.join(path, name)
            if os.path.isdir(full) and not os.path.islink(full):
                State._clear_dir(full)
                os.rmdir(full)
            else:
                os.unlink(full)

    # -- documents ----------------------------------------------------------

    @staticmethod
    def lookup_ci(directory, name):
        """Existing entry of directory whose name equals name ignoring case."""
        try:
            names = os.listdir(directory)
        except OSError:
            return None
        if name in names:
            return name
        fname = fold(name)
        for entry in names:
            if fold(entry) == fname:
                return entry
        return None

    def resolve_document(self, lst, rest):
        """Disk path for the document rest inside lst, matching names without
        regard to case.  Returns (folder, file name as stored or None, name
        requested) or None when a folder on the way does not exist."""
        segments = rest.split("/")
        folder = self.library_dir(lst)
        for seg in segments[:-1]:
            found = self.lookup_ci(folder, seg)
            if found is None or not os.path.isdir(os.path.join(folder, found)):
                return None
            folder = os.path.join(folder, found)
        name = segments[-1]
        return folder, self.lookup_ci(folder, name), name

    def documents(self):
        out = []
        with self.lock:
            sites = list(self.sites.values())
        for site in sites:
            for lst in site.lists:
                if not lst.is_library:
                    continue
                base = self.library_dir(lst)
                docs = []
                for dirpath, dirnames, filenames in os.walk(base):
                    dirnames.sort()
                    for name in sorted(filenames):
                        full = os.path.join(dirpath, name)
                        rel = os.path.relpath(full, base).replace(os.sep, "/")
                        digest = hashlib.sha256()
                        size = 0
                        with open(full, "rb") as fh:
                            for chunk in iter(lambda: fh.read(IO_CHUNK), b""):
                                digest.update(chunk)
                                size += len(chunk)
                        docs.append({"name": rel, "url": lst.full_path + rel,
                                     "size": size, "sha256": digest.hexdigest(),
                                     "disk_path": full})
                out.append({"site": site.path, "library": lst.title,
                            "url": lst.full_path, "disk_path": base,
                            "documents": docs})
        return out

    def library_stats(self, lst):
        base = self.library_dir(lst)
        count = 0
        newest = None
        for dirpath, _dirs, files in os.walk(base):
            for name in files:
                count += 1
                try:
                    m = os.path.getmtime(os.path.join(dirpath, name))
                except OSError:
                    continue
                newest = m if newest is None else max(newest, m)
        return count, newest


# ---------------------------------------------------------------------------
# lists.asmx replies
# ---------------------------------------------------------------------------

def sp_time(ts):
    return time.strftime("%Y%m%d %H:%M:%S", time.gmtime(ts))


def list_attrs(lst, item_count, modified):
    """Attributes of one List element, in the order SharePoint writes them."""
    if lst.is_library:
        view = lst.site_path + lst.url + "/Forms/AllItems.aspx"
        template = lst.site_path + lst.url + "/Forms/template.doc"
    else:
        view = lst.site_path + lst.url + "/AllItems.aspx"
        template = ""
    if lst.default_view_url is not None:
        view = str(lst.default_view_url)
    if lst.doc_template_url is not None:
        template = str(lst.doc_template_url)
    attrs = [
        ("DocTemplateUrl", template),
        ("DefaultViewUrl", view),
        ("ID", lst.id),
        ("Title", lst.title),
        ("Description", lst.description),
        ("ImageUrl", lst.image_url),
        ("Name", lst.id),
        ("BaseType", str(lst.base_type)),
        ("ServerTemplate", str(lst.server_template)),
        ("Created", lst.created),
        ("Modified", modified),
        ("LastDeleted", lst.created),
        ("Version", "0"),
        ("Direction", "none"),
        ("ThumbnailSize", ""),
        ("WebImageWidth", ""),
        ("WebImageHeight", ""),
        ("Flags", "4096" if not lst.is_library else "8"),
        ("ItemCount", str(item_count)),
        ("AnonymousPermMask", ""),
        ("RootFolder", ""),
        ("ReadSecurity", "1"),
        ("WriteSecurity", "1"),
        ("Author", "1"),
        ("EventSinkAssembly", ""),
        ("EventSinkClass", ""),
        ("EventSinkData", ""),
        ("EmailInsertsFolder", ""),
        ("AllowDeletion", "True"),
        ("AllowMultiResponses", "False"),
        ("EnableAttachments", "False" if lst.is_library else "True"),
        ("EnableModeration", "False"),
        ("EnableVersioning", "False"),
        ("Hidden", "True" if lst.hidden else "False"),
        ("MultipleDataList", "False"),
        ("Ordered", "False"),
        ("ShowUser", "True"),
    ]
    if lst.extra_attrs:
        index = {k: i for i, (k, _v) in enumerate(attrs)}
        for key, value in lst.extra_attrs.items():
            if key in index:
                attrs[index[key]] = (key, value)
            else:
                attrs.append((key, value))
    return attrs


def render_list(attrs, text=""):
    parts = " ".join("%s=%s" % (k, quoteattr(v)) for k, v in attrs)
    if text:
        return "<List %s>%s</List>" % (parts, text)
    return "<List %s />" % parts


def envelope(result_inner, doctype=""):
    return (
        '<?xml version="1.0" encoding="utf-8"?>' + doctype +
        '<soap:Envelope xmlns:soap="%s" xmlns:xsi="%s" xmlns:xsd="%s">'
        '<soap:Body><GetListCollectionResponse xmlns="%s">'
        '<GetListCollectionResult>%s</GetListCollectionResult>'
        '</GetListCollectionResponse></soap:Body></soap:Envelope>'
        % (SOAP_ENV_NS, XSI_NS, XSD_NS, SOAP_NS, result_inner))


def lists_element(items):
    return '<Lists xmlns="%s">%s</Lists>' % (SOAP_NS, "".join(items))


def site_lists_xml(state, site):
    items = []
    for lst in site.lists:
        if lst.is_library:
            count, newest = state.library_stats(lst)
            modified = sp_time(newest) if newest else lst.created
        else:
            count, modified = 0, lst.created
        if lst.item_count is not None:
            count = lst.item_count
        items.append(render_list(list_attrs(lst, count, modified)))
    return envelope(lists_element(items))


def many_lists_xml(site, n):
    """n lists: a library, a generic list, a second library whose URL
    differs from the first only in letter case, an issues list; repeated."""
    items = []
    for i in range(n):
        kind = i % 4
        if kind == 0:
            conf = {"title": "Docs %05d" % i, "url": "Docs %05d" % i, "base_type": 1}
        elif kind == 1:
            conf = {"title": "List %05d" % i, "url": "Lists/List%05d" % i, "base_type": 0}
        elif kind == 2:
            conf = {"title": "DOCS %05d" % (i - 2), "url": "DOCS %05d" % (i - 2), "base_type": 1,
                    "id": "{%s}" % str(uuid.uuid5(uuid.NAMESPACE_URL, "spemu-many:%d" % i)).upper()}
        else:
            conf = {"title": "Issues %05d" % i, "url": "Lists/Issues%05d" % i, "base_type": 5}
        lst = SpList(site.path, conf)
        items.append(render_list(list_attrs(lst, i % 7, lst.created)))
    return envelope(lists_element(items))


def dtd_lists_xml(state, site, params):
    """A reply whose DOCTYPE declares two external entities: one naming a
    local file, one naming the emulator's canary address.  A client that
    expands external entities either leaks the file's marker text into what
    it reads or makes a request to the canary, which is logged."""
    file_target = params.get("file") or state.secret_path
    file_url = "file://" + urllib.request.pathname2url(os.path.abspath(file_target)) \
        if not file_target.startswith("file:") else file_target
    canary = "http://%s:%d%scanary?from=dtd" % (HOST, state.port, CONTROL_PREFIX)
    doctype = ('<!DOCTYPE soap:Envelope [\n'
               '  <!ENTITY spfile SYSTEM %s>\n'
               '  <!ENTITY spcanary SYSTEM %s>\n'
               ']>' % (quoteattr(file_url), quoteattr(canary)))
    ref = params.get("ref", "text")
    items = []
    lst = SpList(site.path, {"title": "Entity Library", "url": "Entity Library", "base_type": 1})
    attrs = list_attrs(lst, 0, lst.created)
    if ref == "attr":
        # Not well-formed XML (external entities are not allowed in attribute
        # values); for checking how a parser copes with that.
        parts = " ".join(
            '%s="%s"' % (k, "&spfile;" if k == "Description" else
                         ("&spcanary;" if k == "Title" else xml_escape(v, {'"': "&quot;"})))
            for k, v in attrs)
        items.append("<List %s />" % parts)
    else:
        items.append(render_list(attrs, "&spfile;&spcanary;"))
    for other in site.lists:
        items.append(render_list(list_attrs(other, 0, other.created)))
    return envelope(lists_element(items), doctype)


NOT_XML_PAGE = (
    "<html><head><title>Error</title></head>\r\n"
    "<body><h1>Server Error in '/' Application.<br>\r\n"
    "<p>The list service is not available &nbsp; right now.\r\n"
    "<hr><i>Please try again later</i>\r\n"
    "</body></html>\r\n")


def soap_fault(message):
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<soap:Envelope xmlns:soap="%s" xmlns:xsi="%s" xmlns:xsd="%s">'
            '<soap:Body><soap:Fault><faultcode>soap:Client</faultcode>'
            '<faultstring>%s</faultstring><detail /></soap:Fault></soap:Body>'
            '</soap:Envelope>' % (SOAP_ENV_NS, XSI_NS, XSD_NS, xml_escape(message)))


# ---------------------------------------------------------------------------
# HTTP handling
# ---------------------------------------------------------------------------

class BodyError(Exception):
    pass


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "spemu/1.0"
    sys_version = ""
    timeout = 120   # idle keep-alive connections and stalled uploads end

    # -- plumbing -----------------------------------------------------------

    @property
    def state(self):
        return self.server.state

    def version_string(self):
        return self.server_version

    def setup(self):
        super().setup()
        self.conn_id = next(self.state.conn_seq)

    def log_message(self, fmt, *args):
        if self.state.verbose:
            sys.stderr.write("spemu: %s - %s\n" % (self.address_string(), fmt % args))

    def parse_request(self):
        # Keep the request target exactly as sent.  Targets with raw blanks
        # (some clients don't escape them) are accepted: the blanks are
        # escaped before the standard parser sees the line.
        line = str(self.raw_requestline, "iso-8859-1").rstrip("\r\n")
        words = line.split(" ")
        self.raw_target = None
        if len(words) > 3 and words[-1].startswith("HTTP/"):
            self.raw_target = " ".join(words[1:-1])
            fixed = "%s %s %s\r\n" % (words[0], self.raw_target.replace(" ", "%20"), words[-1])
            self.raw_requestline = fixed.encode("iso-8859-1")
        elif len(words) >= 2:
            self.raw_target = words[1]
        return super().parse_request()

    def __getattr__(self, name):
        # Any other method (DELETE, PROPFIND, ...) is logged and refused.
        if name.startswith("do_"):
            return self.handle_other
        raise AttributeError(name)

    def do_GET(self):
        self.dispatch()

    def do_HEAD(self):
        self.dispatch()

    def do_PUT(self):
        self.dispatch()

    def do_POST(self):
        self.dispatch()

    def do_OPTIONS(self):
        self.dispatch()

    def handle_other(self):
        self.dispatch()

    # -- body reading -------------------------------------------------------

    def body_reader(self):
        """Iterator over the request body in pieces (Content-Length or
        chunked transfer coding)."""
        te = self.headers.get("Transfer-Encoding", "")
        if "chunked" in te.lower():
            return self._read_chunked()
        length = self.headers.get("Content-Length")
        if length is None:
            return iter(())
        try:
            n = int(length.strip())
            if n < 0:
                raise ValueError
        except ValueError:
            raise BodyError("bad Content-Length")
        return self._read_fixed(n)

    def declared_length(self):
        try:
            return max(0, int(self.headers.get("Content-Length", "0").strip() or 0))
        except ValueError:
            return 0

    def _read_fixed(self, n):
        while n > 0:
            data = self.rfile.read(min(IO_CHUNK, n))
            if not data:
                raise BodyError("body ended early")
            n -= len(data)
            yield data

    def _read_chunked(self):
        while True:
            line = self.rfile.readline(65537)
            if not line:
                raise BodyError("chunked body ended early")
            size_text = line.split(b";", 1)[0].strip()
            try:
                size = int(size_text, 16)
            except ValueError:
                raise BodyError("bad chunk size")
            if size == 0:
                while True:   # trailer section
                    trailer = self.rfile.readline(65537)
                    if not trailer or trailer in (b"\r\n", b"\n"):
                        return
            yield from self._read_fixed(size)
            if self.rfile.readline(3) not in (b"\r\n", b"\n"):
                raise BodyError("chunk not followed by CRLF")

    def consume_body(self, sink=None, limit=None):
        """Read the body (or its first limit bytes), feeding sink and the log
        fields.  Returns True when the whole body was read."""
        digest = hashlib.sha256()
        kept = bytearray()
        total = 0
        complete = True
        try:
            for piece in self.body_reader():
                if limit is not None and total + len(piece) >= limit:
                    piece = piece[: max(0, limit - total)]
                    complete = False
                digest.update(piece)
                total += len(piece)
                if len(kept) <= LOG_BODY_LIMIT:
                    kept += piece[: LOG_BODY_LIMIT + 1 - len(kept)]
                if sink is not None:
                    sink(piece)
                if not complete:
                    break
        except (BodyError, OSError) as exc:
            complete = False
            self.body_error = str(exc)
        self.state.update_entry(
            self.entry, body_length=total, body_sha256=digest.hexdigest(),
            body_b64=base64.b64encode(bytes(kept)).decode("ascii") if len(kept) <= LOG_BODY_LIMIT and complete else None,
            body_complete=complete)
        return complete

    # -- replies ------------------------------------------------------------

    def start_reply(self, code):
        """Write the status line, bending it as a case or reason fault asks,
        and note it in the log entry before any byte goes out."""
        reason = REASONS.get(code) or self.responses.get(code, ("",))[0]
        if self.fault is not None and self.fault.mode == "case":
            # "CREATED" -> "Created", "OK" -> "Ok"; mixed case -> upper case.
            reason = reason[:1] + reason[1:].lower() if reason.isupper() else reason.upper()
        elif self.fault is not None and self.fault.mode == "reason":
            code = int(self.fault.params.get("code", code))
            reason = self.fault.params.get("text", "")
        self.state.update_entry(self.entry, status=code, reason=reason)
        self.send_response(code, reason)
        return code

    def reply(self, code, body=b"", ctype="text/html; charset=utf-8", headers=()):
        if isinstance(body, str):
            body = body.encode("utf-8")
        code = self.start_reply(code)
        if body:
            self.send_header("Content-Type", ctype)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        if self.close_connection:
            self.send_header("Connection", "close")
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)
        self.wfile.flush()

    def json_reply(self, obj, code=200):
        self.reply(code, json.dumps(obj, indent=1).encode("utf-8"),
                   "application/json; charset=utf-8")

    def error_page(self, code, detail=""):
        headers = []
        if self.fault is not None and self.fault.mode == str(code):
            if code == 401:
                # IIS with Windows authentication offers both schemes, each in
                # its own header, Negotiate first.
                headers = [("WWW-Authenticate", "Negotiate"), ("WWW-Authenticate", "NTLM")]
            elif code == 500:
                headers = [("SharePointError", "0")]
        reason = REASONS.get(code, "Error")
        text = "<html><head><title>%d %s</title></head><body><h1>%s</h1><p>%s</p></body></html>" % (
            code, html.escape(reason), html.escape(reason), html.escape(detail))
        self.reply(code, text, headers=headers)

    def hard_reset(self, half_reply=False):
        """End the connection with a TCP reset (SO_LINGER 0), optionally
        after half of a reply."""
        self.state.update_entry(self.entry, status=None, reason=None, connection_reset=True)
        try:
            if half_reply:
                body = b"<html><body>" + b"x" * 200 + b"</body></html>"
                head = ("%s 200 OK\r\nContent-Type: text/html\r\nContent-Length: %d\r\n\r\n"
                        % (self.protocol_version, len(body))).encode("ascii")
                self.wfile.write(head + body[: len(body) // 2])
                self.wfile.flush()
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        except OSError:
            pass
        self.close_connection = True
        # The socket only really closes (and so sends the reset) once its
        # file objects are closed too; the handler's later flush and close
        # calls go to stand-ins.
        for f in (self.wfile, self.rfile):
            try:
                f.close()
            except OSError:
                pass
        self.wfile = io.BytesIO()
        self.rfile = io.BytesIO()
        try:
            self.connection.close()
        except OSError:
            pass

    # -- dispatch -----------------------------------------------------------

    def dispatch(self):
        self.fault = None
        self.body_error = None
        raw = self.raw_target if self.raw_target is not None else self.path
        path, query = decode_path(raw)
        self.query = urllib.parse.parse_qs(query, keep_blank_values=True)
        is_control = fold(path).startswith(CONTROL_PREFIX)
        if is_control and not fold(path).startswith(CONTROL_PREFIX + "canary"):
            # Control traffic is not a SharePoint request and stays out of the log.
            self.entry = {}
            try:
                self.control(fold(path)[len(CONTROL_PREFIX):].rstrip("/"))
            except (ValueError, KeyError, TypeError, ConfigError) as exc:
                self.json_reply({"error": str(exc)}, 400)
            return
        shown, encoding = raw_text(raw)
        self.entry = self.state.new_entry(
            time=time.time(), connection=self.conn_id, client_port=self.client_address[1],
            method=self.command, raw_path=shown, raw_path_encoding=encoding,
            path=path, query=query, http_version=self.request_version,
            headers=[[k, v] for k, v in self.headers.items()],
            body_length=0, body_sha256=hashlib.sha256(b"").hexdigest(), body_b64="",
            body_complete=True, status=None, reason=None, fault=None)
        if is_control:
            self.consume_body()
            self.reply(200, b"canary\n", "text/plain; charset=utf-8")
            return

        is_lists = fold(path).endswith("/" + LISTS_SERVICE)
        self.fault = self.state.take_fault(path, is_lists)
        if self.fault is not None:
            self.state.update_entry(self.entry, fault=self.fault.mode)
            if self.apply_fault():
                return
        try:
            self.serve_sharepoint(path)
        except (BrokenPipeError, ConnectionResetError):
            self.close_connection = True
        except Exception:   # keep serving; the traceback helps whoever runs the tests
            self.close_connection = True
            traceback.print_exc()
            if self.entry.get("status") is None:
                try:
                    self.error_page(500, "Emulator error.")
                except OSError:
                    pass

    def apply_fault(self):
        """Carry out a fault that replaces the normal answer; True if it did."""
        mode = self.fault.mode
        if mode == "slow":
            delay = min(MAX_DELAY, max(0.0, float(self.fault.params.get("delay", "2"))))
            time.sleep(delay)
            return False
        if mode in ("401", "403", "404", "500"):
            if not self.consume_body():
                self.close_connection = True
            self.error_page(int(mode), "Fault injected by the test bed.")
            return True
        if mode == "redirect":
            self.redirect()
            return True
        if mode == "reset":
            at = self.fault.params.get("at")
            length = self.declared_length()
            has_body = "chunked" in self.headers.get("Transfer-Encoding", "").lower() or length > 0
            if at is None:
                at = "body" if has_body else "reply"
            if at == "body" and has_body:
                part = max(1, min(length // 2, 256 * 1024)) if length else 1
                self.consume_body(limit=part)
                self.hard_reset(half_reply=False)
            else:
                self.consume_body()
                self.hard_reset(half_reply=True)
            return True
        return False

    def redirect(self):
        """Answer with a redirect (&code=, default 302) after reading the body.
        Location: the sign-in page with the original address as ReturnUrl
        (to=signin, the default), or the same document name in another
        library (to=library, &library=PATH or the first other one);
        &location=none leaves the header out."""
        params = self.fault.params
        code = int(params.get("code", "302"))
        if not self.consume_body():
            self.close_connection = True
        raw = self.raw_target if self.raw_target is not None else self.path
        path, _query = decode_path(raw)
        base = "http://%s:%d" % (HOST, self.state.port)
        if params.get("to") == "library":
            name = path.rsplit("/", 1)[-1]
            target = base + urllib.parse.quote(params.get("library", "/") + name)
        else:
            target = base + SIGNIN_PATH + "?ReturnUrl=" + urllib.parse.quote(base + path, safe="")
        headers = [] if params.get("location") == "none" else [("Location", target)]
        text = ("<html><head><title>Object moved</title></head><body><h2>Object moved to "
                "<a href=\"%s\">here</a>.</h2></body></html>" % html.escape(target))
        self.state.update_entry(self.entry, redirect=None if not headers else target)
        self.reply(code, text, headers=headers)

    def serve_signin(self):
        self.consume_body()
        self.reply(200, "<html><head><title>Sign in</title></head><body><form method=\"post\">"
                        "<input name=\"user\"><input type=\"password\" name=\"password\">"
                        "<input type=\"submit\" value=\"Sign in\"></form></body></html>")

    # -- SharePoint behaviour ----------------------------------------------

    def serve_sharepoint(self, path):
        method = self.command
        if fold(path).startswith(fold(SIGNIN_PATH)):
            self.serve_signin()
            return
        if fold(path).endswith("/" + LISTS_SERVICE):
            self.serve_lists(self.state.find_site_for_service(path))
            return
        if method == "PUT":
            self.serve_put(path)
        elif method in ("GET", "HEAD"):
            self.consume_body()
            self.serve_get(path)
        elif method == "OPTIONS":
            self.consume_body()
            self.reply(200, headers=[("Allow", "GET, HEAD, PUT, POST, OPTIONS")])
        else:
            # Other methods: refused on documents, and nothing else exists.
            self.consume_body()
            lst, rest = self.document_target(path)
            found = self.state.resolve_document(lst, rest) if rest else None
            if found is not None and found[1] is not None:
                self.reply(405, b"", headers=[("Allow", "GET, HEAD, PUT, OPTIONS")])
            else:
                self.error_page(404, "Not found.")

    def serve_lists(self, site):
        if not self.consume_body():
            self.close_connection = True
            self.error_page(400, self.body_error or "incomplete body")
            return
        if site is None:
            self.error_page(404, "No such site.")
            return
        if self.command != "POST":
            self.reply(200, "<html><body>Lists web service</body></html>")
            return
        action = self.headers.get("SOAPAction", "").strip().strip('"')
        mode = self.fault.mode if self.fault is not None else None
        ctype = "text/xml; charset=utf-8"
        if mode == "notxml":
            self.reply(200, NOT_XML_PAGE, "text/html; charset=utf-8")
            return
        if action != GET_LIST_COLLECTION_ACTION:
            self.reply(500, soap_fault("Server did not recognize the value of HTTP Header SOAPAction: %s." % action), ctype)
            return
        if mode == "nolists":
            self.reply(200, envelope(""), ctype)
        elif mode == "many":
            n = max(0, min(MAX_MANY, int(self.fault.params.get("n", "5000"))))
            self.reply(200, many_lists_xml(site, n), ctype)
        elif mode == "dtd":
            self.reply(200, dtd_lists_xml(self.state, site, self.fault.params), ctype)
        else:
            self.reply(200, site_lists_xml(self.state, site), ctype)

    def document_target(self, path):
        lst, rest = self.state.find_library(path)
        if lst is None or not rest:
            return None, None
        segments = rest.split("/")
        if any(seg in ("", ".", "..") or "\x00" in seg for seg in segments):
            return lst, False
        return lst, rest

    def serve_put(self, path):
        lst, rest = self.document_target(path)
        if lst is None or rest is None:
            self.consume_body()
            self.error_page(404, "The path is not inside a document library.")
            return
        if rest is False:
            self.consume_body()
            self.error_page(400, "Bad document name.")
            return
        if fold(rest).startswith("forms/"):
            self.consume_body()
            self.error_page(403, "The Forms folder is reserved.")
            return
        target = self.state.resolve_document(lst, rest)
        if target is None:
            self.consume_body()
            self.error_page(409, "The folder does not exist.")
            return
        fd, tmp_path = tempfile.mkstemp(dir=self.state.tmp_dir, prefix="put-")
        try:
            with os.fdopen(fd, "wb") as out:
                complete = self.consume_body(out.write)
            if not complete:
                self.close_connection = True
                self.error_page(400, self.body_error or "incomplete body")
                return
            with self.state.lock:
                # Look again under the lock: another upload may have created it.
                folder, existing, name = self.state.resolve_document(lst, rest) or target
                final = os.path.join(folder, existing or name)
                os.replace(tmp_path, final)
                tmp_path = None
            if existing is None:
                self.reply(201)
            else:
                self.reply(200)
        except OSError as exc:
            self.close_connection = True
            self.error_page(500, "Could not store the document: %s" % exc)
        finally:
            if tmp_path is not None:
                try:
                    os.unlink(tmp_path)
                except OSError:
                    pass

    def serve_get(self, path):
        lst, rest = self.document_target(path)
        if lst is not None and rest and fold(rest) == "forms/allitems.aspx":
            docs = [d for lib in self.state.documents() if lib["url"] == lst.full_path for d in lib["documents"]]
            rows = "".join("<li><a href=\"%s\">%s</a> (%d bytes)</li>" % (
                html.escape(urllib.parse.quote(d["url"])), html.escape(d["name"]), d["size"]) for d in docs)
            self.reply(200, "<html><head><title>%s</title></head><body><ul>%s</ul></body></html>" % (
                html.escape(lst.title), rows))
            return
        if not rest:
            self.error_page(404, "Not found.")
            return
        target = self.state.resolve_document(lst, rest)
        if target is None or target[1] is None:
            self.error_page(404, "No such document.")
            return
        full = os.path.join(target[0], target[1])
        if not os.path.isfile(full):
            self.error_page(404, "No such document.")
            return
        ctype = mimetypes.guess_type(target[1])[0] or "application/octet-stream"
        size = os.path.getsize(full)
        self.start_reply(200)
        self.send_header("Content-Type", ctype)
        self.send_header("Content-Length", str(size))
        self.end_headers()
        if self.command != "HEAD":
            with open(full, "rb") as fh:
                for chunk in iter(lambda: fh.read(IO_CHUNK), b""):
                    self.wfile.write(chunk)
        self.wfile.flush()

    # -- control API ---------------------------------------------------------

    def control(self, action):
        method = self.command
        body = bytearray()
        if not self.consume_body(body.extend):
            self.close_connection = True
            raise ValueError("incomplete body")
        q = {k: v[-1] for k, v in self.query.items()}
        if action == "reset" and method == "POST":
            self.state.reset(documents=q.get("documents", "0") not in ("0", "", "false"))
            self.json_reply({"ok": True})
        elif action == "fault" and method == "POST":
            mode = q.get("mode", "")
            if mode in ("clear", "none"):
                with self.state.lock:
                    self.state.faults = []
                self.json_reply({"ok": True, "faults": []})
                return
            if mode not in FAULT_MODES:
                raise ValueError("unknown fault mode %r; known: %s" % (mode, ", ".join(FAULT_MODES)))
            count = q.get("count")
            count = int(count) if count not in (None, "") else None
            if count is not None and count <= 0:
                raise ValueError("count must be positive")
            params = {k: v for k, v in q.items() if k not in ("mode", "path", "count")}
            if "delay" in params:
                float(params["delay"])
            if "n" in params:
                int(params["n"])
            if "code" in params:
                int(params["code"])
            if mode == "redirect" and int(params.get("code", "302")) not in REDIRECT_CODES:
                raise ValueError("a redirect's code is one of %s" % ", ".join(map(str, REDIRECT_CODES)))
            if mode == "redirect" and params.get("to", "signin") not in ("signin", "library"):
                raise ValueError("a redirect goes to=signin or to=library")
            if mode == "redirect" and params.get("to") == "library":
                # Fixed now, so that the target library itself is never redirected.
                library = params.get("library") or self.state.other_library(q.get("path", "/") or "/")
                if library is None:
                    raise ValueError("no other library to redirect to")
                params["library"] = "/" + library.strip("/") + "/"
            fault = Fault(mode, q.get("path", "/") or "/", count, params)
            self.state.add_fault(fault)
            self.json_reply({"ok": True, "fault": fault.to_json()})
        elif action == "faults" and method == "GET":
            with self.state.lock:
                self.json_reply({"faults": [f.to_json() for f in self.state.faults]})
        elif action == "site" and method == "POST":
            conf = json.loads(bytes(body).decode("utf-8"))
            site = self.state.set_site(conf)
            self.json_reply({"ok": True, "site": site.to_json()})
        elif action == "requests" and method == "GET":
            since = int(q.get("since", "0") or 0)
            with self.state.lock:
                entries = [copy.deepcopy(e) for e in self.state.log if e["id"] > since]
                dropped = self.state.log_dropped
            self.json_reply({"requests": entries, "dropped": dropped})
        elif action == "documents" and method == "GET":
            self.json_reply({"libraries": self.state.documents()})
        elif action == "info" and method == "GET":
            with self.state.lock:
                sites = [s.to_json() for s in self.state.sites.values()]
            self.json_reply({
                "port": self.state.port, "root": self.state.root,
                "url": "http://%s:%d/" % (HOST, self.state.port),
                "secret_file": self.state.secret_path, "secret": self.state.secret,
                "canary": "http://%s:%d%scanary" % (HOST, self.state.port, CONTROL_PREFIX),
                "sites": sites})
        else:
            self.json_reply({"error": "unknown control call %s %s" % (method, action)}, 404)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 64

    def __init__(self, port, state):
        self.state = state
        super().__init__((HOST, port), Handler)
        state.port = self.server_address[1]

    def handle_error(self, request, client_address):
        exc = sys.exc_info()[1]
        if isinstance(exc, (ConnectionError, socket.timeout, BrokenPipeError)):
            return
        super().handle_error(request, client_address)


# ---------------------------------------------------------------------------
# Start-up
# ---------------------------------------------------------------------------

def build_layout(args):
    sites = []
    if args.config:
        with open(args.config, encoding="utf-8") as fh:
            data = json.load(fh)
        if not isinstance(data, dict) or not isinstance(data.get("sites"), list):
            raise ConfigError("config must be an object with a 'sites' array")
        sites.extend(data["sites"])
    extra = [("library", s, u) for s, u in (args.library or [])] + \
            [("list", s, u) for s, u in (args.list or [])]
    if args.sample or (not args.config and not extra):
        sites = copy.deepcopy(DEFAULT_SAMPLE["sites"]) + sites
    by_path = {}
    ordered = []
    for conf in sites:
        key = fold(norm_site_path(str(conf.get("path", ""))))
        if key in by_path:
            by_path[key].update(conf)
        else:
            conf = dict(conf)
            by_path[key] = conf
            ordered.append(conf)
    for kind, site_path, url in extra:
        key = fold(norm_site_path(site_path))
        if key not in by_path:
            conf = {"path": site_path, "lists": []}
            by_path[key] = conf
            ordered.append(conf)
        conf = by_path[key]
        conf["lists"] = list(conf.get("lists", []))
        title = url.strip("/").split("/")[-1]
        if kind == "library":
            conf["lists"].append({"title": title, "url": url, "base_type": 1, "server_template": 101})
        else:
            conf["lists"].append({"title": title, "url": url, "base_type": 0, "server_template": 100})
    return ordered


def write_port_file(path, port):
    tmp = path + ".tmp%d" % os.getpid()
    with open(tmp, "w", encoding="ascii") as fh:
        fh.write("%d\n" % port)
    os.replace(tmp, path)


def main(argv=None):
    ap = argparse.ArgumentParser(description="Loopback SharePoint emulator for the Quillbox test bed.")
    ap.add_argument("--root", required=True, help="folder that holds the sites' documents")
    ap.add_argument("--config", help="JSON file with the site layout")
    ap.add_argument("--library", nargs=2, action="append", metavar=("SITE", "URL"),
                    help="add a document library to a site (repeatable)")
    ap.add_argument("--list", nargs=2, action="append", metavar=("SITE", "URL"),
                    help="add a generic (non-library) list to a site (repeatable)")
    ap.add_argument("--sample", action="store_true",
                    help="include the built-in sample sites even with --config/--library")
    ap.add_argument("--port", type=int, default=0, help="TCP port on 127.0.0.1 (0: a free one)")
    ap.add_argument("--port-file", help="write the port number to this file")
    ap.add_argument("--max-seconds", type=float, default=3600.0,
                    help="stop by itself after this many seconds (default 3600)")
    ap.add_argument("--verbose", action="store_true", help="log every request to stderr")
    args = ap.parse_args(argv)

    os.makedirs(args.root, exist_ok=True)
    state = State(args.root, verbose=args.verbose)
    try:
        for conf in build_layout(args):
            state.set_site(conf)
    except (ConfigError, OSError, ValueError, TypeError) as exc:
        sys.stderr.write("spemu: bad site layout: %s\n" % exc)
        return 2

    server = Server(args.port, state)
    stop = threading.Event()

    def on_signal(_signum, _frame):
        stop.set()

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    thread = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.1}, daemon=True)
    thread.start()
    if args.port_file:
        write_port_file(args.port_file, state.port)
    sys.stdout.write("SPEMU_PORT=%d\n" % state.port)
    sys.stdout.flush()

    deadline = time.monotonic() + max(0.0, args.max_seconds)
    while not stop.is_set():
        left = deadline - time.monotonic()
        if left <= 0:
            break
        stop.wait(min(left, 0.5))
    server.shutdown()
    server.server_close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
