"""The program fus-simulator from outside: its lines, its exit codes, its end."""

import os
import re
import signal
import socket
import struct
import subprocess
import tempfile
import unittest

SIMULATOR = os.environ.get("FUS_SIMULATOR")
PATIENCE_S = 60.0


def run(*options):
    process = subprocess.run([SIMULATOR] + list(options), stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, universal_newlines=True, timeout=PATIENCE_S)
    return process.returncode, process.stdout, process.stderr


def port_of(process):
    line = process.stdout.readline()
    found = re.match(r"fus-simulator listening on 127\.0\.0\.1:(\d+)\n$", line)
    if not found:
        raise AssertionError("unexpected first line: %r" % line)
    return int(found.group(1))


@unittest.skipUnless(SIMULATOR, "FUS_SIMULATOR doesn't name a program")
class SimulatorProgram(unittest.TestCase):

    def start(self, *options):
        process = subprocess.Popen([SIMULATOR, "--port", "0"] + list(options),
                                   stdout=subprocess.PIPE, universal_newlines=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.kill)  # of a test that fails halfway
        return process

    def end(self, process, number):
        process.send_signal(number)
        return process.wait(PATIENCE_S)

    def test_ends_cleanly_on_either_signal_with_and_without_a_client(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for with_client in (False, True):
                process = self.start("--time-scale", "0")
                port = port_of(process)
                link = socket.create_connection(("127.0.0.1", port)) if with_client else None
                if link:
                    self.assertEqual(4, len(link.recv(4, socket.MSG_WAITALL)))
                self.assertEqual(0, self.end(process, number))
                if link:
                    link.close()

    def test_serves_the_description_it_is_given(self):
        text = "[UPB00]\nprotocol_version = 3.1\nmax_nb_buffers = 1\nmax_nb_shots = 1\n" \
               "[BKP]\nsnt_chr = 1\namp_chr = 1\n[SNT00]\nbm = 1\n[AMP00]\nbm = 1\nch = vrf1\n" \
               "[simulator]\nload_q = 1\n"
        with tempfile.NamedTemporaryFile("w", suffix=".ini", delete=False) as file:
            file.write(text)
        self.addCleanup(os.remove, file.name)
        process = self.start("--description", file.name)
        with socket.create_connection(("127.0.0.1", port_of(process))) as link:
            size, = struct.unpack(">I", link.recv(4, socket.MSG_WAITALL))
            self.assertEqual(text.encode(), link.recv(size, socket.MSG_WAITALL))
        self.assertEqual(0, self.end(process, signal.SIGTERM))

    def test_says_in_a_line_what_is_wrong_and_exits_with_2(self):
        taken = socket.socket()
        self.addCleanup(taken.close)
        taken.bind(("127.0.0.1", 0))
        taken.listen(1)
        port = str(taken.getsockname()[1])
        for options, words in (
                (["--prot", "1"], "unknown option '--prot'"),
                (["--description", "no/such/file.ini"], "no/such/file.ini: can't read it"),
                (["--description", __file__], "not a generator's INI text"),
                (["--fault", "stop"], "--fault: 'stop' needs 'reason'"),
                (["--port", port], "can't listen on 127.0.0.1:" + port)):
            code, out, err = run(*options)
            self.assertEqual((2, ""), (code, out))
            self.assertIn(words, err.splitlines()[-1])

    def test_helps(self):
        code, out, err = run("--help")
        self.assertEqual((0, ""), (code, err))
        for word in ("--time-scale", "--fault", "wrong-size", "heartbeat"):
            self.assertIn(word, out)


if __name__ == "__main__":
    unittest.main()
