# The HTTP server as its clients meet it: good ones, broken ones, slow ones, many.
# Not a test of what an exporter answers.
# Nothing here comes from the protocol of the Gateways.
import concurrent.futures
import contextlib
import gzip
import socket
import time
import unittest

from http_clients import SOON_S, HttpTest


class Requests(HttpTest):
    def test_path_and_arguments_arrive_decoded_and_in_order(self):
        _, body = self.ask(self.serve(), "/a%20b?x=1&y=%26&x=2+3")
        self.assertEqual(body, b"GET /a b\nx=1\ny=&\nx=2 3\n")

    def test_as_many_arguments_arrive_as_a_request_line_has_room_for(self):
        server = self.serve()
        for argument, number in [("a=", 2700), ("collect%5B%5D=g1", 480)]:
            with self.subTest(argument=argument):
                _, body = self.ask(server, "/?" + "&".join([argument] * number))
                self.assertEqual(body, b"GET /\n" + f"{argument}\n".replace("%5B%5D", "[]").encode() * number)

    def test_headers_are_found_in_any_case(self):
        response, _ = self.ask(self.serve(), "/", headers={"x-aSkEd": "this"})
        self.assertEqual(response.headers["X-Echo"], "this")

    def test_a_body_is_read_and_forgotten_and_the_connection_is_kept(self):
        connection = self.connect(self.serve())
        for size in [0, 1, 65536]:
            connection.request("POST", "/-/reload", b"x" * size)
            response = connection.getresponse()
            self.assertEqual((response.status, response.read()), (200, b"POST /-/reload\n"))
        self.assertIsNotNone(connection.sock)

    def test_one_connection_serves_many_requests(self):
        connection = self.connect(self.serve())
        connection.connect()
        first = connection.sock
        for _ in range(100):
            connection.request("GET", "/")
            self.assertEqual(connection.getresponse().read(), b"GET /\n")
            self.assertIs(connection.sock, first)

    def test_requests_sent_together_are_answered_in_their_order(self):
        connection = self.raw(self.serve(), b"GET /1 HTTP/1.1\r\nHost: a\r\n\r\n"
                                            b"GET /2 HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
        answers = self.until_end(connection)
        self.assertLess(answers.index(b"GET /1\n"), answers.index(b"GET /2\n"))

    def test_an_old_client_is_served_too(self):
        answer = self.until_end(self.raw(self.serve(), b"GET / HTTP/1.0\r\n\r\n"))
        self.assertRegex(answer, rb"(?s)^HTTP/1\.[01] 200 .*\r\n\r\nGET /\n$")

    def test_a_request_by_pieces_is_one_request(self):
        connection = self.raw(self.serve())
        for byte in b"GET /?a=b HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n":
            connection.sendall(bytes([byte]))
        self.assertIn(b"GET /\na=b\n", self.until_end(connection))


class Answers(HttpTest):
    def test_an_answer_says_what_it_is_and_may_not_be_taken_for_anything_else(self):
        response, _ = self.ask(self.serve(), "/")
        self.assertEqual(response.headers["Content-Type"], "text/plain; charset=utf-8")
        self.assertEqual(response.headers["X-Content-Type-Options"], "nosniff")

    def test_a_head_has_the_headers_of_a_get_and_no_body(self):
        server = self.serve()
        for headers in [{}, {"Accept-Encoding": "gzip"}]:
            get, whole = self.ask(server, "/big?bytes=5000", headers=headers)
            head, nothing = self.ask(server, "/big?bytes=5000", "HEAD", headers=headers)
            without_date = [[field for field in response.headers.items() if field[0] != "Date"]
                            for response in (get, head)]
            self.assertEqual(without_date[0], without_date[1])
            self.assertEqual(get.headers["Content-Length"], str(len(whole)))
            self.assertEqual(nothing, b"")

    def test_who_accepts_gzip_gets_it(self):
        response, body = self.ask(self.serve(), "/big?bytes=100000", headers={"Accept-Encoding": "gzip"})
        self.assertEqual(response.headers["Content-Encoding"], "gzip")
        self.assertEqual(gzip.decompress(body), b"x" * 100000)
        self.assertLess(len(body), 1000)

    def test_who_does_not_accept_gzip_does_not_get_it(self):
        server = self.serve()
        for headers in [{}, {"Accept-Encoding": "gzip;q=0, identity"}]:
            response, body = self.ask(server, "/big?bytes=100000", headers=headers)
            self.assertNotIn("Content-Encoding", response.headers)
            self.assertEqual(body, b"x" * 100000)

    def test_caches_are_told_that_answers_vary(self):
        server = self.serve()
        for headers in [{}, {"Accept-Encoding": "gzip"}]:
            response, _ = self.ask(server, "/big?bytes=5000", headers=headers)
            self.assertEqual(response.headers["Vary"], "Accept-Encoding")

    def test_a_short_answer_is_not_compressed(self):
        response, body = self.ask(self.serve(), "/", headers={"Accept-Encoding": "gzip"})
        self.assertEqual((response.headers["Content-Encoding"], body), (None, b"GET /\n"))

    def test_a_large_answer_arrives_whole(self):
        _, body = self.ask(self.serve(), "/big?bytes=30000000")
        self.assertEqual(body, b"x" * 30000000)

    def test_a_handler_that_fails_is_an_internal_error_told_without_control_characters(self):
        server = self.serve()
        response, body = self.ask(server, "/throw")
        self.assertEqual((response.status, body), (500, b"Internal error.\n"))
        self.assertEqual(self.ask(server, "/")[0].status, 200)
        error = server.close()
        self.assertIn(b"thrown", error)
        self.assertNotIn(b"\x1b", error)


class Refusals(HttpTest):
    def setUp(self):
        self.server = self.serve()

    def tearDown(self):
        """Whatever came before, the next one is served, and the server ends as it should."""
        self.assertEqual(self.ask(self.server, "/")[0].status, 200)
        self.server.close()

    def test_a_target_that_cannot_be_understood_is_400(self):
        for target in ["/%00", "/probe?target=a%00b", "/?a=%0d%0aSet-Cookie:%20b", "/%zz", "/?a=%", "*", "x"]:
            with self.subTest(target=target):
                response, body = self.ask(self.server, target)
                self.assertEqual((response.status, body), (400, b"The target of the request cannot be understood.\n"))

    def test_other_methods_are_405_and_told_which_there_are(self):
        for method in ["PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "FOO", "get"]:
            with self.subTest(method=method):
                response, _ = self.ask(self.server, "/", method)
                self.assertEqual((response.status, response.headers["Allow"]), (405, "GET, HEAD, POST"))

    def test_a_target_that_is_too_long_is_414(self):
        for length in [9000, 20000, 1000000]:
            with self.subTest(length=length):
                data = b"GET /" + b"a" * length + b" HTTP/1.1\r\nHost: a\r\n\r\n"
                self.assertIn(self.status_of(self.server, data), [414, None] if length > 100000 else [414])

    def test_headers_that_are_too_large_are_431(self):
        for headers in [b"A: " + b"b" * 20000 + b"\r\n", b"A: b\r\n" * 4000]:
            with self.subTest(headers=headers[:20]):
                data = b"GET / HTTP/1.1\r\nHost: a\r\n" + headers + b"\r\n"
                self.assertEqual(self.status_of(self.server, data), 431)

    def test_a_body_that_is_too_large_or_of_unknown_length_is_refused_unread(self):
        for status, header in [(413, b"Content-Length: 65537"), (413, b"Content-Length: 9223372036854775000"),
                               (411, b"Transfer-Encoding: chunked")]:
            with self.subTest(header=header):
                data = b"POST / HTTP/1.1\r\nHost: a\r\n" + header + b"\r\n\r\n"
                self.assertEqual(self.status_of(self.server, data), status)

    def test_a_request_that_can_be_read_in_two_ways_is_400_and_ends_the_connection(self):
        for headers in [b"", b"Host: a\r\nHost: b\r\n", b"Host: a\r\nContent-Length: 0\r\nContent-Length: 9\r\n"]:
            with self.subTest(headers=headers):
                answer = self.until_end(self.raw(self.server, b"POST / HTTP/1.1\r\n" + headers + b"\r\n"))
                self.assertEqual(answer.count(b"HTTP/1.1 400 "), 1)
                self.assertIn(b"Connection: close", answer)

    def test_what_is_not_http_is_400_or_an_end(self):
        for data in [b"\r\n\r\n\r\n", b"\0" * 100 + b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/1.1\r\n\r\n",
                     b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + bytes(range(256)) + b"\r\n\r\n",
                     b"GET / FTP/1.1\r\nHost: a\r\n\r\n", b"GET / HTTP/1.1\r\nHost: a\r\nno colon\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost: a\r\nContent-Length: -1\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost: a\r\nContent-Length: 1, 2\r\n\r\n",
                     b"GET / HTTP/9.9\r\nHost: a\r\n\r\n"]:
            with self.subTest(data=data[:40]):
                connection = self.raw(self.server, data)
                with contextlib.suppress(OSError):  # the server may have gone already
                    connection.shutdown(socket.SHUT_WR)
                answer = self.until_end(connection)
                self.assertIn(answer.split()[1] if answer else None, [None, b"400", b"413", b"505"])

    def test_a_client_that_goes_away_harms_nobody(self):
        for data in [b"", b"G", b"GET /big?bytes=30000000 HTTP/1.1\r\nHost: a\r\n\r\n"]:
            self.raw(self.server, data).close()


class Slowness(HttpTest):
    LATE_S = 5

    def assert_ends_in_time(self, connection):
        self.assertLess(self.drip(connection), self.LATE_S)

    def test_a_request_that_drips_ends_after_its_time_whatever_part_it_is_in(self):
        server = self.serve(request=500)
        for begun in [b"", b"GET /", b"GET / HTTP/1.1\r\nHost: a\r\nA: ",
                      b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 60000\r\n\r\n"]:
            with self.subTest(begun=begun):
                self.assert_ends_in_time(self.raw(server, begun))

    def test_a_second_request_that_drips_ends_too(self):
        server = self.serve(request=500, silence=500)
        connection = self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
        self.assertIn(b"200 OK", connection.recv(65536))
        self.assert_ends_in_time(connection)

    def test_a_second_request_has_the_time_of_a_request_once_its_line_is_there(self):
        server = self.serve(request=500)
        connection = self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
        self.assertIn(b"200 OK", connection.recv(65536))
        connection.sendall(b"GET / HTTP/1.1\r\nHost: a\r\nA: ")
        self.assert_ends_in_time(connection)

    def test_a_connection_without_requests_ends_after_its_time(self):
        connection = self.raw(self.serve(silence=500), b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
        start = time.monotonic()
        self.assertIn(b"GET /\n", self.until_end(connection))
        self.assertGreaterEqual(time.monotonic() - start, 0.4)

    def test_who_does_not_read_the_answer_is_not_waited_for(self):
        server = self.serve(silence=500)
        before = server.descriptors()
        connection = self.raw(server, b"GET /big?bytes=30000000 HTTP/1.1\r\nHost: a\r\n\r\n")
        connection.recv(1)
        self.assertGreater(server.descriptors(), before)
        self.wait_for_descriptors(server, before, self.LATE_S)
        self.assertLess(len(self.until_end(connection)), 30000000)

    def test_a_handler_may_take_longer_than_any_client(self):
        server = self.serve(request=1000, silence=1000)
        connection = self.raw(server, b"GET /gate HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
        self.ask(server, "/gate/guest")
        self.until_end(self.raw(server))  # lasts as long as a request may
        server.say("open")
        self.assertIn(b"GET /gate\n", self.until_end(connection))


class Crowds(HttpTest):
    def assert_answers_soon(self, server):
        start = time.monotonic()
        self.assertEqual(self.ask(server, "/")[0].status, 200)
        self.assertLess(time.monotonic() - start, SOON_S)

    def test_more_slow_clients_than_there_is_room_for_keep_nobody_out(self):
        server = self.serve(connections=50)
        crowd = [self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\nA: ") for _ in range(300)]
        for _ in range(5):
            self.assert_answers_soon(server)
        self.assertEqual(len(crowd), 300)

    def test_more_idle_clients_than_there_is_room_for_keep_nobody_out(self):
        server = self.serve(connections=20)
        for _ in range(100):
            self.assertIn(b"200 OK", self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n").recv(65536))
        self.assert_answers_soon(server)

    def test_a_crowd_leaves_the_process_two_thirds_of_its_descriptors(self):
        server = self.serve(connections=1000, descriptors=100)
        crowd = [self.raw(server, b"GET /") for _ in range(200)]
        self.assert_answers_soon(server)
        self.assertLess(server.descriptors(), 50)
        self.assertGreater(server.descriptors(), 30)
        self.assertEqual(len(crowd), 200)

    def test_who_waits_for_an_answer_is_not_sent_away_for_others(self):
        server = self.serve(connections=20)
        waiting = self.raw(server, b"GET /gate HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
        self.ask(server, "/gate/guest")
        crowd = [self.raw(server, b"GET /") for _ in range(100)]
        self.assert_answers_soon(server)
        server.say("open")
        self.assertIn(b"GET /gate\n", self.until_end(waiting))
        self.assertEqual(len(crowd), 100)

    def test_handlers_that_hang_do_not_hold_up_others(self):
        server = self.serve()
        hanging = [self.raw(server, b"GET /gate HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n")
                   for _ in range(100)]
        self.ask(server, "/gate/guest")
        self.assert_answers_soon(server)
        server.say("open")
        for connection in hanging:
            self.assertIn(b"GET /gate\n", self.until_end(connection))


class Growth(HttpTest):
    def test_two_thousand_requests_leave_descriptors_and_memory_as_they_were(self):
        server = self.serve()

        def some_requests(number):
            for _ in range(number):
                connection = self.connect(server)
                for _ in range(5):
                    connection.request("GET", "/big?bytes=20000", headers={"Accept-Encoding": "gzip"})
                    connection.getresponse().read()
                connection.close()

        def all_requests():
            with concurrent.futures.ThreadPoolExecutor(8) as threads:
                for done in [threads.submit(some_requests, 50) for _ in range(8)]:
                    done.result()

        def memory_after_all_requests():
            all_requests()
            self.wait_for_descriptors(server, descriptors)
            return server.resident_kb()

        descriptors = server.descriptors()
        memory = memory_after_all_requests()
        self.assertLess(memory_after_all_requests() - memory, 5000)


class Farewell(HttpTest):
    def test_the_server_ends_at_once_whoever_is_connected(self):
        server = self.serve()
        idle = [self.raw(server, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n") for _ in range(20)]
        for connection in idle:
            connection.recv(65536)
        begun = [self.raw(server, b"GET /") for _ in range(20)]
        start = time.monotonic()
        server.close()
        self.assertLess(time.monotonic() - start, 1)
        for connection in idle + begun:
            self.until_end(connection)

    def test_a_client_that_does_not_read_does_not_keep_the_server(self):
        server = self.serve()
        connection = self.raw(server, b"GET /big?bytes=30000000 HTTP/1.1\r\nHost: a\r\n\r\n")
        connection.recv(1)
        start = time.monotonic()
        server.close()
        self.assertLess(time.monotonic() - start, 5)

    def test_requests_under_way_get_their_answers(self):
        server = self.serve()
        waiting = self.raw(server, b"GET /gate HTTP/1.1\r\nHost: a\r\n\r\n")
        self.ask(server, "/gate/guest")
        server.say("end")
        with self.assertRaises(OSError):
            while True:
                self.raw(server).close()
        server.say("open")
        self.assertIn(b"GET /gate\n", self.until_end(waiting))
        server.close()


if __name__ == "__main__":
    unittest.main()
