# What the web configuration does for a server: TLS, users, headers, and all that anew while it runs.
# Not a test of which files are refused (http_web_configuration_test.cpp).
# Nothing here comes from the protocol of the Gateways.
import base64
import crypt
import os
import pathlib
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest

from http_clients import AT_ONCE_S, SOON_S, HttpTest, Server

SCRATCH = os.environ["SCRATCH"]


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)


class Authority:
    """Certifies servers and clients; its files are NAME.pem and NAME.key."""

    def __init__(self, folder, name):
        self.folder = pathlib.Path(folder)
        self.certificate, self.key = self.folder / f"{name}.pem", self.folder / f"{name}.key"
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2", "-subj",
                f"/CN={name}", "-keyout", self.key, "-out", self.certificate,
                "-addext", "basicConstraints=critical,CA:TRUE")

    def certify(self, name, use):
        certificate, key, request = [self.folder / f"{name}.{end}" for end in ["pem", "key", "csr"]]
        extensions = self.folder / f"{name}.ext"
        extensions.write_text(f"extendedKeyUsage={use}\nsubjectAltName=IP:127.0.0.1\n")
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", f"/CN={name}",
                "-keyout", key, "-out", request)
        openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self.key, "-days", "2",
                "-extfile", extensions, "-out", certificate)
        return certificate, key


def bcrypt(password, cost=16):
    """With the cheapest cost, 2^4 rounds, unless a test needs to see what it costs."""
    return crypt.crypt(password, crypt.mksalt(crypt.METHOD_BLOWFISH, rounds=cost))


def basic(user, password):
    return {"Authorization": "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()}


class WebTest(HttpTest):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(dir=SCRATCH)
        cls.path = pathlib.Path(cls.folder.name)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def configure(self, text):
        """Files in the text are relative to the configuration's."""
        file = self.path / "web.yml"
        file.write_text(text)
        return file

    def serve_with(self, text, **limits):
        return self.serve(web=self.configure(text), **limits)

    def reload(self, server, text):
        self.configure(text)
        server.say("reload")
        return server.read_line()


class Users(WebTest):
    def users(self, **passwords):
        return "basic_auth_users:\n" + "".join(f"  {name}: {bcrypt(word)}\n" for name, word in passwords.items())

    def status(self, server, headers={}, target="/-/healthy"):
        return self.ask(server, target, headers=headers)[0].status

    def test_nothing_is_answered_without_name_and_password(self):
        server = self.serve_with(self.users(ann="secret"))
        for target in ["/", "/-/healthy", "/none", "/%00"]:
            response, _ = self.ask(server, target)
            self.assertEqual(response.status, 401)
            self.assertRegex(response.headers["WWW-Authenticate"], "^Basic realm=")
        self.assertEqual(self.ask(server, "/", "DELETE")[0].status, 401)

    def test_who_has_both_comes_in(self):
        server = self.serve_with(self.users(ann="secret", bob="other"))
        for user, password, status in [("ann", "secret", 200), ("bob", "other", 200), ("ann", "other", 401),
                                       ("eve", "secret", 401), ("ann", "secret\0x", 401), ("ann", "", 401)]:
            for _ in range(2):
                self.assertEqual(self.status(server, basic(user, password)), status, (user, password))

    def test_only_the_first_of_many_scrapes_pays_for_the_hash(self):
        server = self.serve_with(f"basic_auth_users:\n  ann: {bcrypt('secret', 2**12)}\n")

        def cost(*requests):
            before = server.processor_s()
            for headers in requests:
                self.status(server, headers)
            return server.processor_s() - before

        good = basic("ann", "secret")
        part = cost(good) / 4  # a processor that is shared may take twice as long for the same
        self.assertLess(cost(*[good] * 5), part)
        for wrong in [basic("ann", "guess"), basic("eve", "guess")]:
            self.assertGreater(cost(wrong), part)

    def test_a_reload_changes_who_comes_in(self):
        server = self.serve_with(self.users(ann="secret"))
        self.assertEqual(self.status(server, basic("ann", "secret")), 200)
        self.assertEqual(self.reload(server, self.users(bob="other")), "reloaded")
        self.assertEqual(self.status(server, basic("ann", "secret")), 401)
        self.assertEqual(self.status(server, basic("bob", "other")), 200)

    def test_a_reload_that_fails_changes_nothing(self):
        server = self.serve_with(self.users(ann="secret"))
        self.assertIn("web.yml:1: ", self.reload(server, "users: []\n"))
        self.assertEqual(self.status(server), 401)
        self.assertEqual(self.status(server, basic("ann", "secret")), 200)


class Headers(WebTest):
    def test_every_answer_has_the_owners_headers(self):
        server = self.serve_with("http_server_config:\n  headers:\n    X-Frame-Options: deny\n")
        for target in ["/", "/%00", "/throw"]:
            response, _ = self.ask(server, target)
            self.assertEqual(response.headers.get_all("X-Frame-Options"), ["deny"])

    def test_no_header_comes_twice(self):
        server = self.serve_with("http_server_config:\n  headers:\n    X-Content-Type-Options: nosniff\n"
                                 "    Content-Security-Policy: default-src 'self'\n")
        response, _ = self.ask(server, "/policy")
        self.assertEqual(response.headers.get_all("X-Content-Type-Options"), ["nosniff"])
        self.assertEqual(response.headers.get_all("Content-Security-Policy"), ["default-src 'self'"])


class Tls(WebTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.authority = Authority(cls.path, "authority")
        cls.authority.certify("server", "serverAuth")
        cls.authority.certify("other", "serverAuth")
        cls.client = cls.authority.certify("client", "clientAuth")
        cls.server_as_client = cls.authority.certify("confused", "serverAuth")
        cls.stranger = Authority(cls.path, "stranger").certify("strange", "clientAuth")

    def settings(self, name="server", more=""):
        return f"tls_server_config:\n  cert_file: {name}.pem\n  key_file: {name}.key\n{more}"

    def with_clients(self, kind):
        return self.settings(more=f"  client_auth_type: {kind}\n  client_ca_file: authority.pem\n")

    def context(self, client=None, version=None):
        context = ssl.create_default_context(cafile=self.authority.certificate)
        if client is not None:
            context.load_cert_chain(*client)
        if version is not None:
            context.minimum_version = context.maximum_version = version
            context.set_ciphers("ALL:@SECLEVEL=0")
        return context

    def secure(self, server, client=None, version=None):
        plain = socket.create_connection(("127.0.0.1", server.port), timeout=AT_ONCE_S)
        self.addCleanup(plain.close)
        connection = self.context(client, version).wrap_socket(plain, server_hostname="127.0.0.1")
        self.addCleanup(connection.close)
        return connection

    def ask_secretly(self, server, client=None, version=None):
        connection = self.secure(server, client, version)
        connection.sendall(b"GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
        answer = self.until_end(connection)
        if not answer:
            raise ConnectionResetError("no answer")
        return answer

    def assert_answered(self, *arguments, **named):
        self.assertIn(b"GET /\n", self.ask_secretly(*arguments, **named))

    def assert_refused(self, *arguments, **named):
        with self.assertRaises((ssl.SSLError, ConnectionResetError)):
            self.ask_secretly(*arguments, **named)

    def name_of(self, connection):
        return dict(pair[0] for pair in connection.getpeercert()["subject"])["commonName"]

    def test_requests_are_answered_by_whom_the_certificate_names(self):
        server = self.serve_with(self.settings())
        self.assert_answered(server)
        self.assertEqual(self.name_of(self.secure(server)), "server")

    def test_a_large_answer_arrives_whole(self):
        connection = self.secure(self.serve_with(self.settings()))
        connection.sendall(b"GET /big?bytes=3000000 HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
        self.assertEqual(self.until_end(connection).partition(b"\r\n\r\n")[2], b"x" * 3000000)

    def test_old_versions_are_refused_unless_they_are_wanted(self):
        server = self.serve_with(self.settings())
        for version in [ssl.TLSVersion.TLSv1, ssl.TLSVersion.TLSv1_1]:
            self.assert_refused(server, version=version)
        for version in [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3]:
            self.assert_answered(server, version=version)
        older = self.serve_with(self.settings(more="  min_version: TLS11\n"))
        self.assert_answered(older, version=ssl.TLSVersion.TLSv1_1)

    def test_versions_have_the_limits_of_the_file(self):
        newest = self.serve_with(self.settings(more="  min_version: TLS13\n"))
        self.assert_refused(newest, version=ssl.TLSVersion.TLSv1_2)
        self.assert_answered(newest, version=ssl.TLSVersion.TLSv1_3)
        older = self.serve_with(self.settings(more="  max_version: TLS12\n"))
        self.assert_refused(older, version=ssl.TLSVersion.TLSv1_3)
        self.assert_answered(older, version=ssl.TLSVersion.TLSv1_2)

    def test_clients_that_must_show_a_certificate_are_refused_without_a_good_one(self):
        server = self.serve_with(self.with_clients("RequireAndVerifyClientCert"))
        for version in [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3]:
            with self.subTest(version=version):
                self.assert_answered(server, self.client, version)
                self.assert_refused(server, None, version)
                self.assert_refused(server, self.stranger, version)
                self.assert_refused(server, self.server_as_client, version)

    def test_clients_that_may_show_a_certificate_come_in_without_but_not_with_a_bad_one(self):
        server = self.serve_with(self.with_clients("VerifyClientCertIfGiven"))
        self.assert_answered(server, self.client)
        self.assert_answered(server)
        self.assert_refused(server, self.stranger)

    def test_any_certificate_will_do_where_it_is_not_looked_at(self):
        required = self.serve_with(self.settings(more="  client_auth_type: RequireAnyClientCert\n"))
        self.assert_answered(required, self.stranger)
        self.assert_refused(required)
        requested = self.serve_with(self.settings(more="  client_auth_type: RequestClientCert\n"))
        self.assert_answered(requested, self.stranger)
        self.assert_answered(requested)

    def test_plain_http_is_not_answered_and_does_not_hang(self):
        server = self.serve_with(self.settings())
        answer = self.until_end(self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n"))
        self.assertNotIn(b"200 OK", answer)
        self.assert_answered(server)

    def test_a_handshake_that_is_not_finished_ends_after_its_time(self):
        server = self.serve_with(self.settings(), request=500)
        for begun in [b"", b"\x16\x03\x01\x10\x00\x01"]:
            self.assertLess(self.drip(self.raw(server, begun)), 5)

    def test_unfinished_handshakes_beyond_all_room_keep_nobody_out(self):
        server = self.serve_with(self.settings(), connections=20)
        crowd = [self.raw(server) for _ in range(100)]
        start = time.monotonic()
        self.assert_answered(server)
        self.assertLess(time.monotonic() - start, SOON_S)
        self.assertEqual(len(crowd), 100)

    def test_the_server_ends_at_once_whoever_is_connected(self):
        server = self.serve_with(self.settings())
        connections = [self.secure(server), self.raw(server), self.raw(server, b"\x16\x03")]
        start = time.monotonic()
        server.close()
        self.assertLess(time.monotonic() - start, 2)
        self.assertEqual(len(connections), 3)

    def test_a_reload_gives_new_connections_the_new_certificate_and_leaves_the_old_ones(self):
        server = self.serve_with(self.settings())
        old = self.secure(server)
        self.assertEqual(self.reload(server, self.settings("other")), "reloaded")
        self.assertEqual(self.name_of(self.secure(server)), "other")
        old.sendall(b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
        self.assertIn(b"200 OK", old.recv(65536))

    def test_a_reload_changes_which_clients_may_come(self):
        server = self.serve_with(self.settings())
        self.assert_answered(server)
        self.assertEqual(self.reload(server, self.with_clients("RequireAndVerifyClientCert")), "reloaded")
        self.assert_refused(server)
        self.assert_answered(server, self.client)

    def test_a_reload_cannot_switch_tls_off_or_on(self):
        secure = self.serve_with(self.settings())
        self.assertIn("by a restart only", self.reload(secure, "http_server_config: {}\n"))
        self.assert_answered(secure)
        plain = self.serve_with("http_server_config: {}\n")
        self.assertIn("by a restart only", self.reload(plain, self.settings()))
        self.assertEqual(self.ask(plain, "/")[0].status, 200)

    def test_reloads_under_load_break_no_connection(self):
        server = self.serve_with(self.settings())
        is_over = threading.Event()
        problems = []

        def ask_on():
            while not is_over.is_set():
                try:
                    self.assert_answered(server)
                except (OSError, AssertionError) as problem:
                    problems.append(problem)

        threads = [threading.Thread(target=ask_on) for _ in range(3)]
        for thread in threads:
            thread.start()
        for number in range(20):
            self.assertEqual(self.reload(server, self.settings(["server", "other"][number % 2])), "reloaded")
        is_over.set()
        for thread in threads:
            thread.join()
        self.assertEqual(problems, [])

    def test_a_key_of_another_certificate_stops_the_start(self):
        text = "tls_server_config:\n  cert_file: server.pem\n  key_file: other.key\n"
        with self.assertRaisesRegex(AssertionError, r"web\.yml:\d+: Certificate and key: "):
            Server(web=self.configure(text))


if __name__ == "__main__":
    unittest.main()
