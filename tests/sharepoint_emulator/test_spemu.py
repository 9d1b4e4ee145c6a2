"""Tests of the loopback SharePoint emulator (testbed/sharepoint/spemu.py) and its wrapper tests/with_spemu.sh.
Run from the repository root:  python3 -m unittest discover -s tests/sharepoint_emulator -v
"""

import base64, contextlib, hashlib, http.client, json, os, re, shutil   # noqa: E401
import socket, subprocess, sys, tempfile, time, unittest   # noqa: E401
import xml.etree.ElementTree as ET
import xml.parsers.expat

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
HOST = "127.0.0.1"
NS = "{http://schemas.microsoft.com/sharepoint/soap/}"
SOAP_ACTION = "http://schemas.microsoft.com/sharepoint/soap/GetListCollection"
SOAP_BODY = (
    '<?xml version="1.0" encoding="utf-8"?>\r\n<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">'
    '<soap:Body><GetListCollection xmlns="http://schemas.microsoft.com/sharepoint/soap/" /></soap:Body>'
    '</soap:Envelope>').encode("utf-8")
DOCS = "/sites/team/Shared%20Documents/"
LIB = "/sites/team/Shared Documents/"
PROPOSALS = "/sites/team/Proposals/"


def sha(data):
    return hashlib.sha256(data).hexdigest()


class EmulatorTests(unittest.TestCase):
    """One emulator for all tests; faults, log and documents reset before each."""

    @classmethod
    def setUpClass(cls):
        # The sample sites plus a site from a config file and a library from the command line.
        cls.tmp = tempfile.mkdtemp(prefix="spemu-test-")
        with open(os.path.join(cls.tmp, "sites.json"), "w") as fh:
            json.dump({"sites": [{"path": "/sites/x/", "lists": [{"title": "Designs"}]}]}, fh)
        cls.proc = subprocess.Popen(
            [sys.executable, os.path.join(REPO, "testbed", "sharepoint", "spemu.py"), "--root", cls.tmp + "/root",
             "--port", "0", "--max-seconds", "120", "--port-file", cls.tmp + "/port", "--sample", "--config", fh.name,
             "--library", "/sites/x/", "Extra Docs"], stdout=subprocess.PIPE, text=True)
        cls.port = int(re.fullmatch(r"SPEMU_PORT=(\d+)\n", cls.proc.stdout.readline()).group(1))

    @classmethod
    def tearDownClass(cls):
        cls.proc.terminate()
        cls.proc.communicate(timeout=10)   # SIGTERM stops it
        shutil.rmtree(cls.tmp, ignore_errors=True)

    def setUp(self):
        self.ctl("POST", "/_emu/reset?documents=1")

    def connect(self):
        return contextlib.closing(http.client.HTTPConnection(HOST, self.port, timeout=10))

    def request(self, method, path, body=None, headers=None, conn=None):
        with contextlib.ExitStack() as stack:
            conn = conn or stack.enter_context(self.connect())
            conn.request(method, path, body=body, headers=headers or {})
            resp = conn.getresponse()
            return resp.status, resp.reason, resp.getheaders(), resp.read()

    def ctl(self, method, path, body=None):
        status, _, _, data = self.request(method, path, body)
        self.assertEqual(status, 200, data)
        return json.loads(data)

    def log(self):
        return self.ctl("GET", "/_emu/requests")["requests"]

    def documents(self):
        return {lib["url"]: lib["documents"] for lib in self.ctl("GET", "/_emu/documents")["libraries"]}

    def raw(self, data, sock):
        """Send raw bytes; return the reply's head (replies to uploads have no body)."""
        sock.sendall(data)
        head = b""
        while b"\r\n\r\n" not in head and (chunk := sock.recv(65536)):
            head += chunk
        return head

    def lists(self, site="/sites/team/", conn=None):
        return self.request("POST", site + "_vti_bin/lists.asmx", SOAP_BODY,
                            {"SOAPAction": SOAP_ACTION, "Content-Type": "text/xml"}, conn)

    def parse_lists(self, data):
        found = ET.fromstring(data).find(".//%sGetListCollectionResult/%sLists" % (NS, NS))
        self.assertIsNotNone(found)
        return list(found)

    def test_upload_status_lines_and_chunked_replacement(self):
        # The add-in compares the status lines literally.  Names match without regard to case.
        plain = "PUT %sreport.doc HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc" % DOCS
        chunked = ("PUT /SITES/TEAM/shared%20documents/REPORT.DOC HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked"
                   "\r\n\r\n5;ext=1\r\nhello\r\n3\r\n\x00\x01\x02\r\n0\r\nX-Trailer: 1\r\n\r\n")
        with socket.create_connection((HOST, self.port), timeout=10) as sock:   # one kept-alive connection
            heads = [self.raw(put.encode("latin-1"), sock).split(b"\r\n")[0] for put in (plain, chunked)]
        self.assertEqual(heads, [b"HTTP/1.1 201 CREATED", b"HTTP/1.1 200 OK"])
        self.assertEqual([(d["name"], d["sha256"]) for d in self.documents()[LIB]],
                         [("report.doc", sha(b"hello\x00\x01\x02"))])

    def test_upload_refused_outside_a_library(self):
        for path, status in (("/sites/team/Lists/Announcements/a.txt", 404), ("/sites/nosuch/Docs/a.txt", 404),
                             ("/sites/team/a.txt", 404), ("/sites/team/Shared%20DocumentsX/a.txt", 404),
                             (DOCS[:-1], 404), (DOCS, 404), (DOCS + "../../escape.txt", 400),
                             (DOCS + "nofolder/a.txt", 409)):
            with self.subTest(path):
                self.assertEqual(self.request("PUT", path, b"data")[0], status)
        self.assertFalse(any(self.documents().values()))

    def test_upload_binary_round_trip(self):
        payload = bytes(range(256)) * 300 + b"\x00\x00\r\n\x1a"   # more than the log keeps
        self.assertEqual(self.request("PUT", "/Documents/blob.bin", payload)[0], 201)
        status, _, _, body = self.request("GET", "/documents/BLOB.BIN")
        self.assertEqual((status, sha(body)), (200, sha(payload)))   # a diff of the bytes would take minutes
        self.assertEqual([(e["body_length"], e["body_sha256"], e["body_b64"]) for e in self.log()[:1]],
                         [(len(payload), sha(payload), None)])
        self.assertEqual(self.request("GET", "/Documents/other.bin")[0], 404)

    def test_lists_reply_libraries_and_attribute_order(self):
        for name in ("one.txt", "two.txt"):
            self.request("PUT", PROPOSALS + name, b"1")
        status, _, headers, data = self.lists()
        self.assertEqual((status, dict(headers)["Content-Type"]), (200, "text/xml; charset=utf-8"))
        items = self.parse_lists(data)
        libs = [i for i in items if i.get("BaseType") == "1"]
        self.assertEqual([(i.get("DefaultViewUrl"), i.get("DocTemplateUrl"), i.get("ItemCount")) for i in libs], [
            (lib + "Forms/AllItems.aspx", lib + "Forms/template.doc", n) for lib, n in ((LIB, "0"), (PROPOSALS, "2"))])
        self.assertEqual(sorted(i.get("Title") for i in items if i not in libs), ["Announcements", "Contacts", "Tasks"])
        self.assertEqual(" ".join(list(items[0].attrib)[:11]), "DocTemplateUrl DefaultViewUrl ID Title Description "
                         "ImageUrl Name BaseType ServerTemplate Created Modified")

    def test_lists_service_address_and_action(self):
        # A site URL without its trailing separator runs into the service name.
        for path, status in (("/_VTI_BIN/LISTS.ASMX", 200), ("/SITES/Team/_vti_bin/lists.asmx", 200),
                             ("/sites/team_vti_bin/lists.asmx", 404), ("/sites/nosuch/_vti_bin/lists.asmx", 404)):
            with self.subTest(path):
                self.assertEqual(self.request("POST", path, SOAP_BODY, {"SOAPAction": SOAP_ACTION})[0], status)
        status, _, _, data = self.request("POST", "/sites/team/_vti_bin/lists.asmx", SOAP_BODY, {"SOAPAction": "X"})
        self.assertEqual((status, b"soap:Fault" in data), (500, True))
        self.assertEqual([i.get("Title") for i in self.parse_lists(self.lists("/")[3])], ["Documents"])

    def test_lists_layout_port_file_and_site_added_at_run_time(self):
        with open(os.path.join(self.tmp, "port")) as fh:
            self.assertEqual(int(fh.read()), self.port)
        self.ctl("POST", "/_emu/site", json.dumps({"path": "sites/new", "lists": [
            {"title": "Odd", "default_view_url": "/sites/new/Odd/view.aspx"}]}).encode())
        views = [[i.get("DefaultViewUrl") for i in self.parse_lists(self.lists(site)[3])]
                 for site in ("/sites/x/", "/sites/new/")]
        self.assertEqual(views, [["/sites/x/Designs/Forms/AllItems.aspx", "/sites/x/Extra Docs/Forms/AllItems.aspx"],
                                 ["/sites/new/Odd/view.aspx"]])
        self.assertEqual(self.request("PUT", "/sites/new/Odd/a.txt", b"x")[0], 201)

    def check_many(self, _headers, data, _seconds):   # half libraries, in pairs differing only in letter case
        items = self.parse_lists(data)
        views = [i.get("DefaultViewUrl") for i in items if i.get("BaseType") == "1"]
        self.assertEqual((len(items), len(views), len({v.lower() for v in views}), len({i.get("ID") for i in items})),
                         (400, 200, 100, 400))

    def test_fault_each_mode_once_then_normal(self):
        table = [   # mode and parameters, request, status, reason (None: any), further check of the reply
            ("401", "put", 401, None, lambda h, d, s: self.assertEqual(
                [v for k, v in h if k == "WWW-Authenticate"], ["Negotiate", "NTLM"])),
            ("403", "put", 403, None, None), ("404", "put", 404, None, None), ("500", "put", 500, None, None),
            ("slow&delay=0.4", "put", 201, "CREATED", lambda h, d, s: self.assertGreaterEqual(s, 0.4)),
            ("case", "put", 201, "Created", None), ("reason&text=", "put", 201, "", None),
            ("reason&code=204&text=No%20Content", "put", 204, "No Content", None),
            ("notxml", "lists", 200, "OK", lambda h, d, s: self.assertRaises(ET.ParseError, ET.fromstring, d)),
            ("nolists", "lists", 200, "OK", lambda h, d, s: self.assertEqual(   # a result without a Lists element
                [e.tag for e in ET.fromstring(d).iter() if e.tag.startswith(NS)],
                [NS + "GetListCollectionResponse", NS + "GetListCollectionResult"])),
            ("many&n=400", "lists", 200, "OK", self.check_many),
        ]
        for query, kind, status, reason, check in table:
            mode = query.split("&")[0]
            with self.subTest(query), self.connect() as conn:
                self.setUp()
                self.ctl("POST", "/_emu/fault?mode=%s&count=1" % query)
                put = lambda: self.request("PUT", DOCS + "f.txt", b"x", conn=conn)   # noqa: E731
                if kind == "lists":   # lists-only faults leave uploads alone
                    self.assertEqual(put()[:2], (201, "CREATED"))
                start = time.monotonic()
                got = self.lists(conn=conn) if kind == "lists" else put()
                self.assertEqual(got[:2], (status, reason if reason is not None else got[1]))
                if check:
                    check(got[2], got[3], time.monotonic() - start)
                # Used up: the same connection gets the normal answer next.
                if kind == "lists":
                    self.parse_lists(self.lists(conn=conn)[3])
                else:
                    self.assertEqual(put()[:2], (201, "CREATED") if mode.isdigit() else (200, "OK"))
                self.assertEqual([e["fault"] for e in self.log()], [None] * (kind == "lists") + [mode, None])

    def test_fault_without_count_lasts_until_reset(self):
        self.request("PUT", "/Documents/a.txt", b"x")
        self.ctl("POST", "/_emu/fault?mode=500&path=/sites/team/")
        self.assertEqual([self.request("PUT", "/SITES/TEAM/Proposals/a.txt", b"x")[0], self.lists()[0],
                          self.request("PUT", "/Documents/b.txt", b"x")[0]], [500, 500, 201])
        self.ctl("POST", "/_emu/reset")   # clears faults and the log, keeps the documents
        self.assertEqual((self.request("GET", "/Documents/a.txt")[3], len(self.log())), (b"x", 1))

    def test_fault_redirect_to_signin_page_or_another_library(self):
        base = "http://%s:%d" % (HOST, self.port)
        for code in (301, 302, 303, 307, 308):
            with self.subTest(code=code):
                self.setUp()
                self.ctl("POST", "/_emu/fault?mode=redirect&code=%d&path=%s" % (code, PROPOSALS))
                status, reason, headers, _ = self.request("PUT", PROPOSALS + "r.txt", b"body")
                location = dict(headers)["Location"]
                self.assertEqual((status, location.split("?")[0]), (code, base + "/_login/signin.aspx"))
                self.assertIn("ReturnUrl=" + base.replace(":", "%3A").replace("/", "%2F"), location)
                # The sign-in page says "200 OK" to any method, and is never redirected itself.
                for method in ("PUT", "GET", "POST"):
                    self.assertEqual(self.request(method, location[len(base):], b"x")[:2], (200, "OK"))
                self.assertEqual(self.documents()[PROPOSALS], [])
                self.assertEqual(self.log()[0]["redirect"], location)
        # To another library (the first one other than the fault's path, or the one named), and without a Location.
        self.ctl("POST", "/_emu/fault?mode=redirect&code=307&to=library&path=%s&count=1" % PROPOSALS)
        self.assertEqual(dict(self.request("PUT", PROPOSALS + "a%20b.txt", b"1")[2])["Location"], base + DOCS + "a%20b.txt")
        self.ctl("POST", "/_emu/fault?mode=redirect&code=308&to=library&library=/Documents/")
        self.assertEqual(dict(self.request("PUT", PROPOSALS + "c.txt", b"1")[2])["Location"], base + "/Documents/c.txt")
        self.assertEqual(self.request("PUT", "/Documents/c.txt", b"1")[:2], (201, "CREATED"))
        self.ctl("POST", "/_emu/fault?mode=redirect&location=none&count=1")
        status, _, headers, _ = self.request("PUT", DOCS + "d.txt", b"1")
        self.assertEqual((status, "Location" in dict(headers)), (302, False))
        for bad in ("code=200", "code=304", "to=elsewhere"):
            self.assertEqual(self.request("POST", "/_emu/fault?mode=redirect&" + bad)[0], 400)

    def test_fault_reset_mid_body_and_mid_reply(self):
        big = b"z" * (4 * 1024 * 1024)
        for req in (("PUT %sr.bin HTTP/1.1\r\nHost: x\r\nContent-Length: %d\r\n\r\n" % (DOCS, len(big))).encode()
                    + big, b"GET /Documents/x.txt HTTP/1.1\r\nHost: x\r\n\r\n"):
            with self.subTest(req[:4]):
                self.setUp()
                self.ctl("POST", "/_emu/fault?mode=reset&count=1")
                with socket.create_connection((HOST, self.port), timeout=10) as sock, \
                        self.assertRaises((ConnectionResetError, BrokenPipeError)):
                    sock.sendall(req)
                    while sock.recv(65536):
                        pass
                log = self.log()
                self.assertEqual([(e["connection_reset"], e["body_length"] < len(big)) for e in log], [(True, True)])
                self.assertFalse(any(self.documents().values()))

    def test_fault_dtd_declares_external_entities(self):
        secret = self.ctl("GET", "/_emu/info")["secret"]
        self.ctl("POST", "/_emu/fault?mode=dtd&count=1")
        data = self.lists()[3]
        self.assertNotIn(secret.encode(), data)
        # A parser that resolves external entities would fetch exactly these.
        wanted = []
        parser = xml.parsers.expat.ParserCreate(namespace_separator=" ")
        parser.SetParamEntityParsing(xml.parsers.expat.XML_PARAM_ENTITY_PARSING_ALWAYS)
        parser.ExternalEntityRefHandler = lambda ctx, base, sysid, pubid: wanted.append(sysid) or 1
        parser.Parse(data, True)
        here = "http://127.0.0.1:%d" % self.port
        self.assertEqual([w[:len(here) + 12] for w in wanted[1:]], [here + "/_emu/canary"])
        with open(wanted[0][len("file://"):]) as fh:
            self.assertEqual(fh.read().strip(), secret)
        self.assertEqual(self.request("GET", wanted[1][len(here):])[0], 200)
        self.assertEqual([(e["path"], e["query"]) for e in self.log()[1:]], [("/_emu/canary", "from=dtd")])
        self.ctl("POST", "/_emu/fault?mode=dtd&ref=attr&count=1")   # deliberately not well-formed
        self.assertIn(b'Title="&spcanary;"', self.lists()[3])

    def test_log_entries_and_document_names(self):
        with socket.create_connection((HOST, self.port), timeout=10) as sock:   # raw blanks are accepted
            self.raw(("PUT %smy file.txt?x=1 HTTP/1.1\r\nZeta: 1\r\nAlpha: 2\r\nContent-Length: 5\r\nAlpha: 3\r\n\r\n"
                      "a\x00b\r\n" % LIB).encode(), sock)
        self.request("PUT", DOCS + "%C3%BCber.txt", b"2")   # percent escapes are undone
        self.request("PUT", DOCS + "a&amp;b.txt", b"1")   # entity text is stored literally
        self.lists()
        log = self.log()   # control calls are not recorded
        self.assertEqual([(e["method"], e["raw_path"], e["path"], e["status"], e["reason"]) for e in log], [
            ("PUT", LIB + "my file.txt?x=1", LIB + "my file.txt", 201, "CREATED"),
            ("PUT", DOCS + "%C3%BCber.txt", LIB + "über.txt", 201, "CREATED"),
            ("PUT", DOCS + "a&amp;b.txt", LIB + "a&amp;b.txt", 201, "CREATED"),
            ("POST", "/sites/team/_vti_bin/lists.asmx", "/sites/team/_vti_bin/lists.asmx", 200, "OK")])
        self.assertEqual((log[0]["query"], log[0]["headers"]),
                         ("x=1", [["Zeta", "1"], ["Alpha", "2"], ["Content-Length", "5"], ["Alpha", "3"]]))
        self.assertEqual([base64.b64decode(e["body_b64"]) for e in log], [b"a\x00b\r\n", b"2", b"1", SOAP_BODY])
        self.assertIn(["SOAPAction", SOAP_ACTION], log[-1]["headers"])
        self.assertEqual(sorted(d["name"] for d in self.documents()[LIB]), ["a&amp;b.txt", "my file.txt", "über.txt"])
        self.assertEqual(self.request("GET", DOCS + "my%20file.txt")[3], b"a\x00b\r\n")
        since = self.ctl("GET", "/_emu/requests?since=%d" % log[-1]["id"])["requests"]
        self.assertEqual([(e["method"], e["path"]) for e in since], [("GET", LIB + "my file.txt")])

    def test_wrapper_passes_exit_status_and_cleans_up(self):
        script = ("import os, sys, urllib.request as u; e = os.environ; url, root = e['QBX_SP_URL'], e['QBX_SP_ROOT']\n"
                  "assert url.startswith('http://127.0.0.1:') and url.endswith('/'), url\n"
                  "assert u.urlopen(u.Request(url + 'Documents/w.txt', data=b'w', method='PUT')).status == 201\n"
                  "assert os.path.isfile(root + '/Documents/w.txt'); print(root); sys.exit(7)\n")
        result = subprocess.run([os.path.join(REPO, "tests", "with_spemu.sh"), sys.executable, "-c", script],
                                capture_output=True, text=True, timeout=30)
        self.assertEqual(result.returncode, 7, result.stderr)
        self.assertFalse(os.path.exists(result.stdout.strip()))


if __name__ == "__main__":
    unittest.main()
