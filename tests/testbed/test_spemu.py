"""Tests of the loopback SharePoint emulator (testbed/sharepoint/spemu.py).

Run from the repository root:  python3 -m unittest discover -s tests/testbed -v
"""

import base64
import hashlib
import http.client
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ET
import xml.parsers.expat

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
EMU = os.path.join(REPO, "testbed", "sharepoint", "spemu.py")
WRAPPER = os.path.join(REPO, "tests", "with_spemu.sh")
HOST = "127.0.0.1"
NS = "{http://schemas.microsoft.com/sharepoint/soap/}"
SOAP_ACTION = "http://schemas.microsoft.com/sharepoint/soap/GetListCollection"
SOAP_BODY = (
    '<?xml version="1.0" encoding="utf-8"?>\r\n'
    '<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"\r\n'
    ' xmlns:xsd="http://www.w3.org/2001/XMLSchema" \r\n'
    ' xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">\r\n'
    '<soap:Body><GetListCollection xmlns="http://schemas.microsoft.com/sharepoint/soap/" />\r\n'
    '</soap:Body>\r\n</soap:Envelope>').encode("utf-8")
DOCS = "/sites/team/Shared%20Documents/"


def start_emulator(*args, root=None):
    """Start spemu on a free port; returns (process, port, root)."""
    root = root or tempfile.mkdtemp(prefix="spemu-test-")
    proc = subprocess.Popen(
        [sys.executable, EMU, "--root", root, "--port", "0", "--max-seconds", "120"] + list(args),
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    line = proc.stdout.readline()
    m = re.match(r"SPEMU_PORT=(\d+)$", line.strip())
    if not m:
        proc.kill()
        raise RuntimeError("emulator did not start: %r %s" % (line, proc.stderr.read()))
    return proc, int(m.group(1)), root


def stop_emulator(proc):
    proc.terminate()
    proc.wait(10)
    proc.stdout.close()
    proc.stderr.close()


class EmulatorCase(unittest.TestCase):
    """One emulator for the whole class; state reset before every test."""

    @classmethod
    def setUpClass(cls):
        cls.proc, cls.port, cls.root = start_emulator()

    @classmethod
    def tearDownClass(cls):
        stop_emulator(cls.proc)
        shutil.rmtree(cls.root, ignore_errors=True)

    def setUp(self):
        self.ctl("POST", "/_emu/reset?documents=1")

    def request(self, method, path, body=None, headers=None):
        conn = http.client.HTTPConnection(HOST, self.port, timeout=10)
        try:
            conn.request(method, path, body=body, headers=headers or {})
            resp = conn.getresponse()
            return resp.status, resp.reason, resp.getheaders(), resp.read()
        finally:
            conn.close()

    def ctl(self, method, path, body=None):
        status, _reason, _h, data = self.request(method, path, body)
        self.assertEqual(status, 200, data)
        return json.loads(data)

    def fault(self, query):
        return self.ctl("POST", "/_emu/fault?" + query)

    def log(self):
        return self.ctl("GET", "/_emu/requests")["requests"]

    def documents(self):
        return {lib["url"]: lib["documents"] for lib in self.ctl("GET", "/_emu/documents")["libraries"]}

    def raw(self, data, sock=None):
        """Send raw bytes and return the first complete reply (head, body)."""
        own = sock is None
        sock = sock or socket.create_connection((HOST, self.port), timeout=10)
        try:
            sock.sendall(data)
            buf = b""
            while b"\r\n\r\n" not in buf:
                chunk = sock.recv(65536)
                if not chunk:
                    break
                buf += chunk
            head, _, body = buf.partition(b"\r\n\r\n")
            m = re.search(rb"\r\ncontent-length: *(\d+)", head, re.I)
            length = int(m.group(1)) if m else 0
            while len(body) < length:
                chunk = sock.recv(65536)
                if not chunk:
                    break
                body += chunk
            return head, body
        finally:
            if own:
                sock.close()

    def lists(self, site="/sites/team/", **kw):
        headers = {"SOAPAction": SOAP_ACTION, "Content-Type": "text/xml"}
        headers.update(kw.pop("headers", {}))
        return self.request("POST", site + "_vti_bin/lists.asmx", SOAP_BODY, headers)


class UploadTests(EmulatorCase):

    def test_status_line_created_then_ok_on_replace(self):
        put = ("PUT %sreport.doc HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc" % DOCS).encode()
        head, _ = self.raw(put)
        self.assertTrue(head.startswith(b"HTTP/1.1 201 CREATED\r\n"), head)
        head, _ = self.raw(put.replace(b"abc", b"xyz"))
        self.assertTrue(head.startswith(b"HTTP/1.1 200 OK\r\n"), head)
        # Library and file name match without regard to case: still a replacement.
        status, reason, _, _ = self.request("PUT", "/SITES/TEAM/shared%20documents/REPORT.DOC", b"last")
        self.assertEqual((status, reason), (200, "OK"))
        docs = self.documents()["/sites/team/Shared Documents/"]
        self.assertEqual([d["name"] for d in docs], ["report.doc"])
        self.assertEqual(docs[0]["sha256"], hashlib.sha256(b"last").hexdigest())

    def test_put_outside_a_library_is_404_and_stores_nothing(self):
        for path in ("/sites/team/Lists/Announcements/a.txt", "/sites/nosuch/Docs/a.txt",
                     "/sites/team/a.txt", "/sites/team/Shared%20DocumentsX/a.txt",
                     "/sites/team/Shared%20Documents", "/sites/team/Shared%20Documents/"):
            status, _, _, _ = self.request("PUT", path, b"data")
            self.assertEqual(status, 404, path)
        self.assertTrue(all(not docs for docs in self.documents().values()))

    def test_binary_round_trip(self):
        payload = bytes(range(256)) * 300 + b"\x00\x00\r\n\x1a"
        self.assertEqual(self.request("PUT", "/Documents/blob.bin", payload)[0], 201)
        status, _, headers, body = self.request("GET", "/documents/BLOB.BIN")
        self.assertEqual(status, 200)
        self.assertEqual(body, payload)
        self.assertEqual(dict(headers)["Content-Length"], str(len(payload)))
        with open(os.path.join(self.root, "Documents", "blob.bin"), "rb") as fh:
            self.assertEqual(fh.read(), payload)
        self.assertEqual(self.request("GET", "/Documents/other.bin")[0], 404)

    def test_empty_body(self):
        self.assertEqual(self.request("PUT", DOCS + "empty.txt", b"")[0], 201)
        self.assertEqual(os.path.getsize(os.path.join(self.root, "sites", "team", "Shared Documents", "empty.txt")), 0)

    def test_names_raw_escaped_and_entities(self):
        # Raw blanks in the request line are accepted and kept in the log.
        head, _ = self.raw(b"PUT /sites/team/Shared Documents/my file.txt HTTP/1.1\r\n"
                           b"Host: x\r\nContent-Length: 2\r\n\r\nhi")
        self.assertIn(b" 201 CREATED", head)
        self.assertEqual(self.request("GET", DOCS + "my%20file.txt")[3], b"hi")
        # Entity text in a name is stored literally, percent escapes are undone.
        self.assertEqual(self.request("PUT", DOCS + "a&amp;b.txt", b"1")[0], 201)
        self.assertEqual(self.request("PUT", DOCS + "%C3%BCber.txt", b"2")[0], 201)
        names = sorted(d["name"] for d in self.documents()["/sites/team/Shared Documents/"])
        self.assertEqual(names, ["a&amp;b.txt", "my file.txt", "über.txt"])
        first = self.log()[0]
        self.assertEqual(first["raw_path"], "/sites/team/Shared Documents/my file.txt")
        self.assertEqual(first["path"], "/sites/team/Shared Documents/my file.txt")
        last = self.log()[-1]
        self.assertEqual((last["raw_path"], last["path"]),
                         ("/sites/team/Shared%20Documents/%C3%BCber.txt", "/sites/team/Shared Documents/über.txt"))

    def test_bad_names_and_missing_folders(self):
        self.assertEqual(self.request("PUT", DOCS + "../../escape.txt", b"x")[0], 400)
        self.assertEqual(self.request("PUT", DOCS + "nofolder/a.txt", b"x")[0], 409)
        os.makedirs(os.path.join(self.root, "sites", "team", "Shared Documents", "Sub"))
        self.assertEqual(self.request("PUT", DOCS + "sub/a.txt", b"x")[0], 201)
        self.assertFalse(os.path.exists(os.path.join(self.root, "sites", "escape.txt")))

    def test_chunked_upload_then_keep_alive(self):
        sock = socket.create_connection((HOST, self.port), timeout=10)
        try:
            head, _ = self.raw(
                ("PUT %schunked.bin HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "5;ext=1\r\nhello\r\n3\r\n\x00\x01\x02\r\n0\r\nX-Trailer: 1\r\n\r\n" % DOCS).encode("latin-1"),
                sock)
            self.assertTrue(head.startswith(b"HTTP/1.1 201 CREATED"), head)
            head, body = self.raw(("GET %schunked.bin HTTP/1.1\r\nHost: x\r\n\r\n" % DOCS).encode(), sock)
            self.assertEqual(body, b"hello\x00\x01\x02")
        finally:
            sock.close()
        log = self.log()
        self.assertEqual(log[0]["connection"], log[1]["connection"])
        self.assertEqual(log[0]["body_length"], 8)

    def test_large_body_is_hashed_not_kept(self):
        payload = os.urandom(3 * 1024 * 1024 + 7)
        self.assertEqual(self.request("PUT", DOCS + "big.bin", payload)[0], 201)
        entry = self.log()[0]
        self.assertEqual(entry["body_length"], len(payload))
        self.assertEqual(entry["body_sha256"], hashlib.sha256(payload).hexdigest())
        self.assertIsNone(entry["body_b64"])
        doc = self.documents()["/sites/team/Shared Documents/"][0]
        self.assertEqual((doc["size"], doc["sha256"]), (len(payload), entry["body_sha256"]))


class ListsTests(EmulatorCase):

    def parse_lists(self, data):
        root = ET.fromstring(data)
        lists = root.find("{http://schemas.xmlsoap.org/soap/envelope/}Body/%sGetListCollectionResponse/"
                          "%sGetListCollectionResult/%sLists" % (NS, NS, NS))
        self.assertIsNotNone(lists)
        return list(lists)

    def test_reply_shape_and_library_filter(self):
        status, _, headers, data = self.lists()
        self.assertEqual(status, 200)
        self.assertEqual(dict(headers)["Content-Type"], "text/xml; charset=utf-8")
        items = self.parse_lists(data)
        self.assertTrue(all(item.tag == NS + "List" for item in items))
        libs = [i.get("DefaultViewUrl") for i in items if i.get("BaseType") == "1"]
        self.assertEqual(libs, ["/sites/team/Shared Documents/Forms/AllItems.aspx",
                                "/sites/team/Proposals/Forms/AllItems.aspx"])
        others = {i.get("Title"): i for i in items if i.get("BaseType") != "1"}
        self.assertEqual(sorted(others), ["Announcements", "Contacts", "Tasks"])
        ann = others["Announcements"]
        self.assertEqual((ann.get("DefaultViewUrl"), ann.get("DocTemplateUrl"), ann.get("ServerTemplate")),
                         ("/sites/team/Lists/Announcements/AllItems.aspx", "", "104"))
        lib = items[0]
        self.assertEqual(lib.get("DocTemplateUrl"), "/sites/team/Shared Documents/Forms/template.doc")
        self.assertEqual(lib.get("ServerTemplate"), "101")
        self.assertEqual(list(lib.attrib)[:11],
                         ["DocTemplateUrl", "DefaultViewUrl", "ID", "Title", "Description", "ImageUrl",
                          "Name", "BaseType", "ServerTemplate", "Created", "Modified"])
        self.assertEqual(len({i.get("ID") for i in items}), len(items))

    def test_service_path_matching(self):
        status, _, _, data = self.request("POST", "/_VTI_BIN/LISTS.ASMX", SOAP_BODY, {"SOAPAction": SOAP_ACTION})
        self.assertEqual(status, 200)
        self.assertEqual([i.get("Title") for i in self.parse_lists(data)], ["Documents"])
        self.assertEqual(self.lists("/SITES/Team/")[0], 200)
        # A site URL without its trailing separator runs into the service name.
        self.assertEqual(self.request("POST", "/sites/team_vti_bin/lists.asmx", SOAP_BODY,
                                      {"SOAPAction": SOAP_ACTION})[0], 404)
        self.assertEqual(self.lists("/sites/nosuch/")[0], 404)

    def test_unknown_soap_action_is_a_soap_fault(self):
        status, _, _, data = self.lists(headers={"SOAPAction": SOAP_ACTION + "X"})
        self.assertEqual(status, 500)
        self.assertIn(b"soap:Fault", data)

    def test_item_count_follows_uploads(self):
        self.request("PUT", "/sites/team/Proposals/one.txt", b"1")
        self.request("PUT", "/sites/team/Proposals/two.txt", b"2")
        counts = {i.get("Title"): i.get("ItemCount") for i in self.parse_lists(self.lists()[3])}
        self.assertEqual((counts["Proposals"], counts["Shared Documents"]), ("2", "0"))

    def test_site_added_and_replaced_at_run_time(self):
        site = {"path": "sites/new", "title": "New",
                "lists": [{"title": "Designs", "url": "Designs"},
                          {"title": "Odd", "url": "Odd", "default_view_url": "/sites/new/Odd/view.aspx"}]}
        self.ctl("POST", "/_emu/site", json.dumps(site).encode())
        items = self.parse_lists(self.lists("/sites/new/")[3])
        self.assertEqual([i.get("DefaultViewUrl") for i in items],
                         ["/sites/new/Designs/Forms/AllItems.aspx", "/sites/new/Odd/view.aspx"])
        self.assertEqual(self.request("PUT", "/sites/new/Designs/a.txt", b"x")[0], 201)
        site["lists"] = [{"title": "Other", "url": "Other"}]
        self.ctl("POST", "/_emu/site", json.dumps(site).encode())
        self.assertEqual(self.request("PUT", "/sites/new/Designs/b.txt", b"x")[0], 404)
        self.assertEqual(self.request("POST", "/_emu/site", b"{}")[0], 400)


class FaultTests(EmulatorCase):

    def test_status_faults_then_normal(self):
        for mode in ("401", "403", "404", "500"):
            self.fault("mode=%s&count=1" % mode)
            conn = http.client.HTTPConnection(HOST, self.port, timeout=10)
            conn.request("PUT", DOCS + "f.txt", b"body")
            resp = conn.getresponse()
            resp.read()
            self.assertEqual(resp.status, int(mode))
            if mode == "401":
                self.assertEqual(resp.headers.get_all("WWW-Authenticate"), ["Negotiate", "NTLM"])
            # Same connection stays usable and the fault is used up.
            conn.request("GET", DOCS + "f.txt")
            resp = conn.getresponse()
            resp.read()
            self.assertEqual(resp.status, 404)
            conn.close()
        self.assertEqual(self.documents()["/sites/team/Shared Documents/"], [])
        self.assertEqual([e["fault"] for e in self.log()[::2]], ["401", "403", "404", "500"])

    def test_fault_path_prefix_and_count(self):
        self.fault("mode=500&path=/sites/team/&count=2")
        self.assertEqual(self.request("PUT", "/Documents/a.txt", b"x")[0], 201)
        self.assertEqual(self.request("PUT", "/SITES/TEAM/Proposals/a.txt", b"x")[0], 500)
        self.assertEqual(self.lists()[0], 500)
        self.assertEqual(self.request("PUT", "/sites/team/Proposals/a.txt", b"x")[0], 201)
        self.assertEqual(self.ctl("GET", "/_emu/faults")["faults"], [])

    def test_reset_while_reading_body(self):
        self.fault("mode=reset&count=1")
        payload = b"z" * (4 * 1024 * 1024)
        sock = socket.create_connection((HOST, self.port), timeout=10)
        with self.assertRaises((ConnectionResetError, BrokenPipeError)):
            try:
                sock.sendall(("PUT %sreset.bin HTTP/1.1\r\nHost: x\r\nContent-Length: %d\r\n\r\n"
                              % (DOCS, len(payload))).encode() + payload)
                while sock.recv(65536):
                    pass
            finally:
                sock.close()
        entry = self.log()[0]
        self.assertTrue(entry["connection_reset"])
        self.assertLess(entry["body_length"], len(payload))
        self.assertEqual(self.documents()["/sites/team/Shared Documents/"], [])

    def test_reset_after_half_a_reply(self):
        self.fault("mode=reset&count=1")
        sock = socket.create_connection((HOST, self.port), timeout=10)
        got = b""
        with self.assertRaises(ConnectionResetError):
            try:
                sock.sendall(b"GET /Documents/x.txt HTTP/1.1\r\nHost: x\r\n\r\n")
                while True:
                    chunk = sock.recv(65536)
                    if not chunk:
                        break
                    got += chunk
            finally:
                sock.close()
        if got:
            head, _, body = got.partition(b"\r\n\r\n")
            self.assertLess(len(body), int(re.search(rb"Content-Length: (\d+)", head).group(1)))

    def test_slow(self):
        self.fault("mode=slow&delay=0.4&count=1")
        start = time.monotonic()
        self.assertEqual(self.request("PUT", DOCS + "slow.txt", b"x")[0], 201)
        self.assertGreaterEqual(time.monotonic() - start, 0.4)

    def test_reason_phrase_case_and_text(self):
        self.fault("mode=case&count=2")
        self.assertEqual(self.request("PUT", DOCS + "c.txt", b"1")[:2], (201, "Created"))
        self.assertEqual(self.request("PUT", DOCS + "c.txt", b"2")[:2], (200, "Ok"))
        self.fault("mode=reason&text=&count=1")
        head, _ = self.raw(("PUT %sd.txt HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\n1" % DOCS).encode())
        self.assertTrue(head.startswith(b"HTTP/1.1 201 \r\n"), head)
        self.fault("mode=reason&code=204&text=No%20Content&count=1")
        self.assertEqual(self.request("PUT", DOCS + "e.txt", b"1")[:2], (204, "No Content"))
        self.assertEqual(self.request("PUT", DOCS + "f.txt", b"1")[:2], (201, "CREATED"))

    def test_lists_only_faults_leave_uploads_alone(self):
        self.fault("mode=notxml&count=1")
        self.assertEqual(self.request("PUT", DOCS + "a.txt", b"x")[:2], (201, "CREATED"))
        status, _, _, data = self.lists()
        self.assertEqual(status, 200)
        with self.assertRaises(ET.ParseError):
            ET.fromstring(data)
        ET.fromstring(self.lists()[3])

    def test_dtd_declares_external_entities(self):
        info = self.ctl("GET", "/_emu/info")
        self.fault("mode=dtd&count=1")
        data = self.lists()[3]
        self.assertIn(b"<!DOCTYPE", data)
        self.assertNotIn(info["secret"].encode(), data)
        # A parser that resolves external entities would fetch exactly these.
        wanted = []
        parser = xml.parsers.expat.ParserCreate(namespace_separator=" ")
        parser.SetParamEntityParsing(xml.parsers.expat.XML_PARAM_ENTITY_PARSING_ALWAYS)
        parser.ExternalEntityRefHandler = lambda ctx, base, sysid, pubid: wanted.append(sysid) or 1
        parser.Parse(data, True)
        self.assertEqual(len(wanted), 2)
        self.assertTrue(wanted[0].startswith("file:///"))
        with open(wanted[0][len("file://"):]) as fh:
            self.assertEqual(fh.read().strip(), info["secret"])
        self.assertTrue(wanted[1].startswith("http://127.0.0.1:%d/_emu/canary" % self.port))
        self.assertEqual(self.request("GET", wanted[1][len("http://127.0.0.1:%d" % self.port):])[0], 200)
        canary = self.log()[-1]
        self.assertEqual((canary["path"], canary["query"]), ("/_emu/canary", "from=dtd"))
        # The attribute variant is deliberately not well-formed.
        self.fault("mode=dtd&ref=attr&count=1")
        self.assertIn(b'Title="&spcanary;"', self.lists()[3])

    def test_nolists(self):
        self.fault("mode=nolists&count=1")
        status, _, _, data = self.lists()
        root = ET.fromstring(data)
        self.assertEqual(status, 200)
        self.assertIsNotNone(root.find(".//%sGetListCollectionResult" % NS))
        self.assertIsNone(root.find(".//%sLists" % NS))

    def test_many_lists(self):
        self.fault("mode=many&n=400&count=1")
        items = ET.fromstring(self.lists()[3]).findall(".//%sList" % NS)
        self.assertEqual(len(items), 400)
        views = [i.get("DefaultViewUrl") for i in items if i.get("BaseType") == "1"]
        self.assertEqual(len(views), 200)
        self.assertEqual(len({v.lower() for v in views}), 100)
        self.assertEqual(len({i.get("ID") for i in items}), 400)

    def test_reset_clears_faults_but_keeps_documents(self):
        self.request("PUT", DOCS + "keep.txt", b"x")
        self.fault("mode=500")
        self.ctl("POST", "/_emu/reset")
        self.assertEqual(self.request("GET", DOCS + "keep.txt")[3], b"x")
        self.assertEqual(len(self.log()), 1)
        self.ctl("POST", "/_emu/reset?documents=1")
        self.assertEqual(self.request("GET", DOCS + "keep.txt")[0], 404)
        self.assertEqual(self.request("POST", "/_emu/fault?mode=bogus")[0], 400)


class LogTests(EmulatorCase):

    def test_entry_fields(self):
        conn = http.client.HTTPConnection(HOST, self.port, timeout=10)
        conn.putrequest("PUT", "/sites/team/Shared%20Documents/log.txt?x=1", skip_accept_encoding=True)
        for name, value in (("Zeta", "1"), ("Alpha", "2"), ("Content-Length", "5"), ("Alpha", "3")):
            conn.putheader(name, value)
        conn.endheaders(b"a\x00b\r\n")
        resp = conn.getresponse()
        resp.read()
        conn.close()
        self.ctl("GET", "/_emu/documents")
        log = self.log()
        self.assertEqual(len(log), 1)   # control calls are not recorded
        e = log[0]
        self.assertEqual((e["method"], e["status"], e["reason"]), ("PUT", 201, "CREATED"))
        self.assertEqual(e["raw_path"], "/sites/team/Shared%20Documents/log.txt?x=1")
        self.assertEqual((e["path"], e["query"]), ("/sites/team/Shared Documents/log.txt", "x=1"))
        self.assertEqual([h for h in e["headers"] if h[0] != "Host"],
                         [["Zeta", "1"], ["Alpha", "2"], ["Content-Length", "5"], ["Alpha", "3"]])
        self.assertEqual(base64.b64decode(e["body_b64"]), b"a\x00b\r\n")
        self.assertEqual(e["body_sha256"], hashlib.sha256(b"a\x00b\r\n").hexdigest())
        self.request("GET", "/Documents/none")
        self.assertEqual([x["path"] for x in self.ctl("GET", "/_emu/requests?since=%d" % e["id"])["requests"]],
                         ["/Documents/none"])

    def test_soap_request_recorded_verbatim(self):
        self.lists()
        e = self.log()[0]
        self.assertEqual(base64.b64decode(e["body_b64"]), SOAP_BODY)
        self.assertIn(["SOAPAction", SOAP_ACTION], e["headers"])


class ProcessTests(unittest.TestCase):

    def setUp(self):
        self.tmp = tempfile.mkdtemp(prefix="spemu-proc-")
        self.addCleanup(shutil.rmtree, self.tmp, True)

    def test_port_file_config_and_cli_layout(self):
        config = os.path.join(self.tmp, "sites.json")
        with open(config, "w") as fh:
            json.dump({"sites": [{"path": "/sites/x/", "lists": [{"title": "Designs"}]}]}, fh)
        port_file = os.path.join(self.tmp, "port")
        proc, port, _ = start_emulator("--config", config, "--library", "/sites/x/", "Extra Docs",
                                       "--port-file", port_file, root=os.path.join(self.tmp, "root"))
        try:
            with open(port_file) as fh:
                self.assertEqual(int(fh.read()), port)
            conn = http.client.HTTPConnection(HOST, port, timeout=10)
            conn.request("POST", "/sites/x/_vti_bin/lists.asmx", SOAP_BODY, {"SOAPAction": SOAP_ACTION})
            titles = [i.get("Title") for i in ET.fromstring(conn.getresponse().read()).iter(NS + "List")]
            self.assertEqual(titles, ["Designs", "Extra Docs"])
            conn.request("PUT", "/sites/team/Shared%20Documents/a.txt", b"x")   # no sample sites
            self.assertEqual(conn.getresponse().status, 404)
            conn.close()
        finally:
            stop_emulator(proc)
        self.assertEqual(proc.returncode, 0)

    def test_stops_by_itself_and_on_sigterm(self):
        proc, _, _ = start_emulator("--max-seconds", "0.3", root=os.path.join(self.tmp, "a"))
        self.assertEqual(proc.wait(5), 0)
        proc.stdout.close()
        proc.stderr.close()
        proc, _, _ = start_emulator(root=os.path.join(self.tmp, "b"))
        proc.send_signal(signal.SIGTERM)
        self.assertEqual(proc.wait(5), 0)
        proc.stdout.close()
        proc.stderr.close()

    def test_bad_config_is_refused(self):
        config = os.path.join(self.tmp, "bad.json")
        with open(config, "w") as fh:
            json.dump({"sites": [{"path": "/s/", "lists": [{"title": "A", "url": "../up"}]}]}, fh)
        result = subprocess.run([sys.executable, EMU, "--root", self.tmp, "--config", config],
                                capture_output=True, text=True, timeout=10)
        self.assertEqual(result.returncode, 2)
        self.assertIn("bad site layout", result.stderr)

    def test_wrapper_exports_and_cleans_up(self):
        script = (
            "import os, sys, urllib.request\n"
            "url = os.environ['QBX_SP_URL']; root = os.environ['QBX_SP_ROOT']\n"
            "assert url.startswith('http://127.0.0.1:') and url.endswith('/'), url\n"
            "req = urllib.request.Request(url + 'Documents/w.txt', data=b'w', method='PUT')\n"
            "assert urllib.request.urlopen(req).status == 201\n"
            "assert os.path.isfile(os.path.join(root, 'Documents', 'w.txt'))\n"
            "print(root)\n"
            "sys.exit(7)\n")
        result = subprocess.run([WRAPPER, sys.executable, "-c", script],
                                capture_output=True, text=True, timeout=30)
        self.assertEqual(result.returncode, 7, result.stderr)
        root = result.stdout.strip().splitlines()[-1]
        self.assertFalse(os.path.exists(root))


if __name__ == "__main__":
    unittest.main()
