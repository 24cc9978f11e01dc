"""The program fus-tool from outside: in a real terminal, and where programs read what it writes."""

import fcntl
import json
import os
import pty
import re
import select
import struct
import subprocess
import termios
import time
import unittest

TOOL = os.environ["FUS_TOOL"]
SIMULATOR = os.environ["FUS_SIMULATOR"]
PATIENCE_S = 60.0       # a limit for what must come: only a failure ever waits so long


class Simulator:
    """A simulated generator in a process of its own."""

    def __init__(self, *options):
        self.process = subprocess.Popen([SIMULATOR, "--port", "0"] + list(options),
                                        stdout=subprocess.PIPE, universal_newlines=True)
        self.address = "127.0.0.1:" + self.process.stdout.readline().split(":")[-1].strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait(PATIENCE_S)
        self.process.stdout.close()


class Screen:
    """As much of a terminal as the program uses; whatever else comes is a fault."""

    SEQUENCE = re.compile(r"\x1b\[(\??)([0-9;]*)([A-Za-z])")

    def __init__(self, columns, rows):
        self.cursor_shown = True
        self.alternate = False
        self.style = ""
        self.pictures = 0           # how often the cursor went home
        self.scrolled = 0           # lines that left the alternate screen at its top
        self.pending = ""
        self.resize(columns, rows)

    def resize(self, columns, rows):
        """Empties the screen, and the one below it, too."""
        self.columns, self.rows = columns, rows
        self.cells, self.row, self.column = self.empty(), 0, 0
        self.kept = self.empty(), 0, 0

    def empty(self):
        return [[(" ", "")] * self.columns for _ in range(self.rows)]

    def lines(self):
        return ["".join(cell[0] for cell in row).rstrip() for row in self.cells]

    def text(self):
        return "\n".join(self.lines())

    def style_of(self, row, word):
        column = self.lines()[row].index(word)
        return {style for _, style in self.cells[row][column:column + len(word)]}

    def feed(self, text):
        text = self.pending + text
        at = 0
        while at < len(text):
            if text[at] != "\x1b":
                self.put(text[at])
                at += 1
                continue
            found = self.SEQUENCE.match(text, at)
            if not found:
                break               # the rest of it comes later
            self.control(*found.groups())
            at = found.end()
        self.pending = text[at:]
        if len(self.pending) > 16:
            raise AssertionError("not a control sequence: %r" % self.pending)

    def put(self, character):
        if character == "\n":
            self.row += 1
        elif character == "\r":
            self.column = 0
        else:
            if self.column >= self.columns:
                if self.alternate:
                    raise AssertionError("the line is too long: " + self.lines()[self.row])
                self.put("\r")
                self.put("\n")
            self.cells[self.row][self.column] = (character, self.style)
            self.column += 1
        if self.row >= self.rows:
            self.cells = self.cells[1:] + [[(" ", "")] * self.columns]
            self.row -= 1
            self.scrolled += self.alternate

    def control(self, private, parameters, letter):
        sequence = private + parameters + letter
        if sequence in ("?25h", "?25l"):
            self.cursor_shown = letter == "h"
        elif sequence == "?1049h":
            self.alternate, self.kept = True, (self.cells, self.row, self.column)
        elif sequence == "?1049l":
            self.alternate = False
            self.cells, self.row, self.column = self.kept
        elif sequence == "H":
            self.row = self.column = 0
            self.pictures += 1
        elif sequence == "2J":
            self.cells = self.empty()
        elif letter in "JK" and not parameters:
            self.cells[self.row][self.column:] = [(" ", "")] * (self.columns - self.column)
            for row in range(self.row + 1, self.rows if letter == "J" else 0):
                self.cells[row] = [(" ", "")] * self.columns
        elif letter == "m":
            self.style = "" if parameters == "0" else parameters
        else:
            raise AssertionError("unknown control sequence %r" % sequence)


class Session:
    """The program on a terminal of its own."""

    def __init__(self, columns, rows, *words, **environment):
        self.screen = Screen(columns, rows)
        self.code = None
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.environ.update({"TERM": "xterm"}, **environment)
            # the size must be there before the program asks for it
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
            # what is typed would come back in the middle of a control sequence
            modes = termios.tcgetattr(0)
            modes[3] &= ~termios.ECHO
            termios.tcsetattr(0, termios.TCSANOW, modes)
            os.execv(TOOL, [TOOL] + list(words))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.code is None:
            os.kill(self.process, 9)
            os.waitpid(self.process, 0)
        os.close(self.master)

    def resize(self, columns, rows):
        self.screen.resize(columns, rows)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def type(self, text):
        os.write(self.master, text.encode())

    def _read(self, end):
        """False at the end of the output."""
        ready, _, _ = select.select([self.master], [], [], max(0, end - time.monotonic()))
        if not ready:
            raise AssertionError("nothing more came:\n" + self.screen.text())
        try:
            data = os.read(self.master, 65536)
        except OSError:             # how Linux tells it
            data = b""
        self.screen.feed(data.decode())
        return bool(data)

    def wait_for(self, what):
        """Reads until a pattern is on the screen, or a condition holds."""
        holds = what if callable(what) else lambda: re.search(what, self.screen.text())
        end = time.monotonic() + PATIENCE_S
        while not holds():
            if not self._read(end):
                raise AssertionError("it has ended:\n" + self.screen.text())

    def finish(self):
        end = time.monotonic() + PATIENCE_S
        while self._read(end):
            pass
        _, status = os.waitpid(self.process, 0)
        self.code = os.WEXITSTATUS(status) if os.WIFEXITED(status) else -os.WTERMSIG(status)
        return self.code


def run(*words, **options):
    process = subprocess.run([TOOL] + list(words), stdout=options.pop("stdout", subprocess.PIPE),
                             stderr=subprocess.PIPE, stdin=subprocess.DEVNULL,
                             universal_newlines=True, timeout=PATIENCE_S, **options)
    return process.returncode, process.stdout, process.stderr


HOT = ("--fault", "reading:measure=tem,raw=1000,hwid=12,address=2")


class Monitor(unittest.TestCase):

    def assert_left(self, screen):
        self.assertTrue(screen.cursor_shown)
        self.assertFalse(screen.alternate)

    def test_redraws_in_place_and_marks_what_is_beyond_a_threshold(self):
        for columns, rows in ((80, 24), (120, 40)):
            with Simulator(*HOT) as generator, Session(
                    columns, rows, "monitor", generator.address, "--interval", "0.1") as session:
                session.wait_for(r"Reading [3-9]")
                screen = session.screen
                self.assertTrue(screen.alternate)
                self.assertFalse(screen.cursor_shown)
                self.assertGreaterEqual(screen.pictures, 3)
                self.assertEqual(0, screen.scrolled)
                lines = screen.lines()
                self.assertIn("127.0.0.1:", lines[0])
                self.assertEqual("LOOK: AMP2.tem HIGH", lines[1])
                hot = [n for n, line in enumerate(lines) if line.startswith("AMP  2")][0]
                self.assertRegex(lines[hot], r"tem +85\.0 C \.\.80\.0 HIGH  idc +[0-9.]+ A")
                self.assertEqual({"1;7;31"}, screen.style_of(hot, "85.0"))
                self.assertEqual({"1;7;31"}, screen.style_of(hot, "HIGH"))
                self.assertEqual(16, sum(line.startswith("AMP") for line in lines))
                session.type("\x03")
                self.assertEqual(0, session.finish())
                self.assert_left(screen)
                self.assertIn("AMP 15", screen.text())      # the last reading stays

    def test_follows_the_size_of_the_terminal_between_readings(self):
        with Simulator() as generator, Session(
                80, 24, "monitor", generator.address, "--interval", "3600") as session:
            session.wait_for("Ctrl-C ends")
            session.resize(50, 10)
            session.wait_for(r"more: the window is too small\nReading 1")
            self.assertLessEqual(len(session.screen.text().rstrip().splitlines()), 10)
            session.resize(120, 40)
            session.wait_for(r"MOT 0 +ok\n\nReading 1")
            self.assertNotIn("too small", session.screen.text())
            session.type("\x03")
            self.assertEqual(0, session.finish())
            self.assert_left(session.screen)

    def test_says_that_the_link_is_lost_on_the_screen_that_stays(self):
        with Simulator() as generator, Session(
                80, 24, "monitor", generator.address, "--interval", "3600") as session:
            session.wait_for("Ctrl-C ends")
            generator.process.kill()
            self.assertEqual(1, session.finish())
            self.assert_left(session.screen)
            self.assertIn("fus-tool monitor: the link to %s was lost" % generator.address,
                          session.screen.text())

    def test_writes_lines_where_the_terminal_understands_no_more(self):
        with Simulator() as generator, Session(
                2000, 24, "monitor", generator.address, "--count", "1", TERM="dumb") as session:
            self.assertEqual(0, session.finish())
            self.assertEqual(0, session.screen.pictures)
            self.assertIn("# time", session.screen.text())


class Prompt(unittest.TestCase):

    def test_asks_on_the_terminal_and_is_left_by_ctrl_c(self):
        masks = ("--snt", "1" * 32, "--amp", "1" * 32)
        with Simulator() as generator:
            for typed, code in (("\x03", -2), ("no\n", 1), ("yes\n", 0)):
                with Session(80, 60, "backpanel", "set", generator.address, *masks) as session:
                    session.wait_for(r"Type yes to go on:\s*\Z")
                    session.type(typed)
                    self.assertEqual(code, session.finish(), session.screen.text())


class Programs(unittest.TestCase):

    def test_read_valid_json(self):
        with Simulator(*HOT) as generator:
            for words in (("info", "--json"), ("backpanel", "read", "--json")):
                code, out, err = run(*words, generator.address)
                self.assertEqual((0, ""), (code, err))
                json.loads(out)
            code, out, err = run("monitor", "--json", "--count", "3", "--interval", "0.1",
                                 generator.address)
            readings = [json.loads(line) for line in out.splitlines()]
            self.assertEqual((0, "", 3), (code, err, len(readings)))
            self.assertEqual(["AMP2.tem HIGH"], readings[2]["remarks"])

    def test_are_told_when_the_output_can_not_be_written(self):
        with open("/dev/full", "w") as full, Simulator() as generator:
            for words in (("info",), ("monitor", "--interval", "0.1")):
                code, _, err = run(*words, generator.address, stdout=full)
                self.assertEqual(1, code)
                self.assertIn("standard output can't be written", err)
            self.assertEqual(1, run("help", stdout=full)[0])

    def test_end_plainly_when_their_reader_has_gone(self):
        reader, writer = os.pipe()
        os.close(reader)
        with os.fdopen(writer, "w") as gone, Simulator() as generator:
            code, _, err = run("monitor", "--interval", "0.1", generator.address, stdout=gone)
            self.assertEqual(1, code)
            self.assertIn("standard output can't be written", err)


if __name__ == "__main__":
    unittest.main()
