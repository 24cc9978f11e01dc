"""How errors arrive in Python, and the log: its sinks, its lines, and texts that Python writes."""

import os
import re
import shutil
import tempfile
import unittest

import KORVANE

from support import KorvaneTest, library, run_script

INFO = KORVANE.LogLevel.INFO


def bad_list():
    KORVANE.PhaseShot(1, 1, 1).setPhases([])


class Exceptions(KorvaneTest):

    def test_show_these_values_before_the_first_error(self):
        code, output, _ = run_script("""
            import KORVANE
            e = KORVANE.FUSException
            print([e.errCode, e.hwCode, e.errMessage, e.errLine, e.errFile])
            print(e())
            print(e.__module__, e.__name__, e.__bases__ == (Exception,))
            """)
        self.assertEqual(0, code)
        self.assertEqual(["[-1, 0, b'', 0, b'']",
                          "FUSException(code: -1, hwcode: 0x00000000, msg: b'')",
                          "KORVANE FUSException True"], output.splitlines())

    def test_tell_code_message_and_place(self):
        with self.assertRaises(KORVANE.FUSException) as caught:
            bad_list()
        error = caught.exception
        self.assertEqual(int(KORVANE.FUSError.ERR_ARGUMENT), error.errorCode())
        self.assertEqual(0, error.hardwareCode())
        self.assertEqual("The given list is empty.", error.message())
        self.assertRegex(error.file(), r"^\w+\.cpp$")
        self.assertGreater(error.line(), 0)
        self.assertEqual("FUSException(code: 2, hwcode: 0x00000000, msg: The given list is empty.)",
                         str(error))

    def test_keep_their_state_in_the_class_so_that_the_latest_error_shows_everywhere(self):
        with self.assertRaises(KORVANE.FUSException) as first:
            bad_list()
        with self.assertRaises(KORVANE.FUSException) as second:
            library().getProtocolVersion()
        self.assertEqual(10, first.exception.errorCode())
        self.assertEqual(second.exception.message(), first.exception.message())
        self.assertEqual(10, KORVANE.FUSException.errCode)
        self.assertNotIn("errCode", vars(second.exception))

    def test_of_a_bad_index_are_the_languages_own_and_leave_that_state_alone(self):
        with self.assertRaises(KORVANE.FUSException):
            bad_list()
        with self.assertRaises(IndexError) as caught:
            KORVANE.ChannelMask("1")[1]
        self.assertEqual("Invalid index", str(caught.exception))
        self.assertNotIsInstance(caught.exception, KORVANE.FUSException)
        self.assertEqual(2, KORVANE.FUSException.errCode)

    def test_reach_the_log_before_they_reach_python(self):
        with self.logged(KORVANE.LogLevel.EXCEPTION) as lines:
            self.assertFUSError(2, bad_list)
            self.assertRaises(IndexError, KORVANE.ChannelMask("11").set, 7, True)
            self.assertEqual(["ERR_ARGUMENT: The given list is empty.",
                              "ERR_INDEX: invalid mask index (7 above max=1)"], lines()[:2])


class LogTexts(KorvaneTest):

    def write(self, message):
        with self.logged() as lines:
            library().log(INFO, message)
            return "\n".join(lines()[:-1])

    def test_stand_in_the_log_as_they_were_written(self):
        for message in ["plain", "", "50 % done", "50%", "%", "%s%n%d%", "%s%n%d% in the middle",
                        "%n%n%n%n %s %s %s", "%1000000000d", "%*d%.*f", "%-", "a\nb\tc",
                        u"\u00b5s \u2192 \u00e9", "%5", "%ls%hhn%Lf"]:
            with self.subTest(message=message):
                self.assertEqual(message, self.write(message))

    def test_have_one_percent_sign_for_two(self):
        for message, line in [("100%%", "100%"), ("%%d", "%d"), ("%%%%", "%%"), ("%%%d", "%%d"),
                              ("a%%b%", "a%b%")]:
            with self.subTest(message=message):
                self.assertEqual(line, self.write(message))

    def test_are_cut_where_the_line_is_full(self):
        for message in ["x" * 20000, "x%" * 10000, "%" * 40001]:
            with self.subTest(message=message[:2]):
                line = self.write(message)
                self.assertTrue(16300 < len(line) < 16384, len(line))
                self.assertTrue(message.startswith(line))

    def test_must_be_text(self):
        for message in [None, 1, ["a"], u"\ud800"]:
            with self.subTest(message=message):
                self.assertRaises(TypeError, library().log, INFO, message)
        self.assertRaises(TypeError, library().log, 300, "message")


class LogPlaces(KorvaneTest):

    def place_of(self, file_name):
        directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, directory)
        path = os.path.join(directory, "log")
        library().setLogLevel(INFO)
        self.assertTrue(library().setLogFile(path, False))
        code = compile("\n\nfus.log(level, 'here')\n", file_name, "exec")
        exec(code, {"fus": library(), "level": INFO})
        library().setLogFile("")
        with open(path, encoding="utf-8", errors="replace") as file:
            return re.search(r"INF T[ 0-9A-F]+ \[(.{16})@(.{4})\] here", file.read()).groups()

    def test_are_the_callers_file_and_line(self):
        for name, shown in [("story.py", "story.py        "),
                            ("a_file_with_a_long_name.py", "a_file_with_a_lo"),
                            ("C:\\scripts\\story.py", "story.py        ")]:
            with self.subTest(name=name):
                self.assertEqual((shown, "   3"), self.place_of(name))

    def test_are_unknown_when_the_files_name_is_no_text(self):
        self.assertEqual(("<python>        ", "   0"), self.place_of(u"bad\udcff.py"))


class LogSinks(KorvaneTest):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)
        self.addCleanup(library().setLogFile, "")
        self.path = os.path.join(self.directory, "log")

    def test_are_standard_error_for_errors_alone_unless_told_otherwise(self):
        code, output, errors = run_script("""
            import KORVANE
            fus, level = KORVANE.FUS(), KORVANE.LogLevel
            print(fus.getLogLevel() == level.ERROR, fus.isLogStderrEnabled(),
                  fus.isLogStdoutEnabled(), fus.isLogFileEnabled(), repr(fus.getLogFileName()),
                  flush=True)
            fus.log(level.INFO, "quiet")
            fus.log(level.ERROR, "loud")
            fus.enableLogStderr(False)
            fus.enableLogStdout(enable=True)
            fus.setLogLevel(level=level.INFO)
            fus.log(level.INFO, "moved")
            fus.setLogLevel(level.NONE)
            fus.log(level.EXCEPTION, "silent")
            """)
        self.assertEqual(0, code)
        self.assertRegex(errors, r"\A[^\n]* ERR [^\n]* loud\n\Z")
        self.assertRegex(output, r"\ATrue True False False ''\n[^\n]* INF [^\n]* moved\n")
        self.assertNotIn("silent", output)

    def test_include_a_file_whose_name_gets_the_date_unless_told_otherwise(self):
        fus = library()
        self.assertTrue(fus.setLogFile(self.path))
        self.assertTrue(fus.isLogFileEnabled())
        self.assertRegex(fus.getLogFileName(),
                         "^" + re.escape(self.path) + r"_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log$")
        self.assertTrue(fus.setLogFile(filename=self.path, append=False))
        self.assertEqual(self.path, fus.getLogFileName())
        self.assertTrue(fus.setLogFile(""))
        self.assertFalse(fus.isLogFileEnabled())
        self.assertEqual("", fus.getLogFileName())
        self.assertEqual(2, len(os.listdir(self.directory)))

    def test_refuse_a_file_that_can_not_be_created(self):
        fus = library()
        self.assertFalse(fus.setLogFile(os.path.join(self.directory, "missing", "log"), False))
        self.assertFalse(fus.isLogFileEnabled())


class FUSObjects(unittest.TestCase):

    def test_announce_their_creation_and_the_only_one_its_end(self):
        script = """
            import KORVANE
            level = KORVANE.LogLevel
            def make():
                fus = KORVANE.FUS()
                fus.setLogLevel(level.INFO)
                fus.enableLogStderr(False)
                fus.enableLogStdout(True)
                return fus
            fus = make()
            %s
            """
        for body, created, deleted in [("del fus", 0, 1),
                                       ("fus.setSecurityOnDestruction(False); del fus", 0, 0),
                                       ("second = make(); del fus, second", 1, 0),
                                       ("gen = fus.gen; del fus; del gen", 0, 1)]:
            with self.subTest(body=body):
                code, output, errors = run_script(script % body)
                self.assertEqual((0, ""), (code, errors))
                self.assertEqual(created, output.count("] <python> Creating KORVANE singleton\n"))
                self.assertEqual(deleted, output.count("] <python> Deleting KORVANE singleton\n"))

    def test_are_kept_alive_by_their_generator(self):
        code, output, errors = run_script("""
            import gc, KORVANE
            gen = KORVANE.FUS().gen
            gc.collect()
            try:
                gen.getChannelCount()
            except KORVANE.FUSException as error:
                print(error.errorCode())
            """)
        self.assertEqual((0, "10\n"), (code, output), errors)

    def test_can_not_be_used_before_they_are_initialised_nor_can_any_other(self):
        code, output, errors = run_script("""
            import KORVANE
            class Early(KORVANE.FUS):
                def __init__(self):
                    self.isConnected()
                    super(Early, self).__init__()
            def unmade(kind):
                return kind.__new__(kind)
            uses = [Early, lambda: unmade(KORVANE.FUS).gen,
                    lambda: unmade(KORVANE.ChannelMask).size(),
                    lambda: KORVANE.ChannelMask("1") == unmade(KORVANE.ChannelMask),
                    lambda: KORVANE.FUS().registerListener(unmade(KORVANE.FUSListener)),
                    lambda: int(unmade(KORVANE.BoardType))]
            for use in uses:
                try:
                    print(use())
                except TypeError as error:
                    print(error)
            """)
        self.assertEqual(0, code, errors)
        self.assertEqual(["__init__() must be called first"] * 6, output.splitlines())

    def test_have_constants_that_can_not_be_changed(self):
        self.assertEqual((9000, 9001), (KORVANE.FUS.REBOOT_ALL, KORVANE.FUS.REBOOT_SLAVES))
        with self.assertRaises(AttributeError):
            KORVANE.FUS.REBOOT_ALL = 1
        with self.assertRaises(AttributeError):
            library().gen = None

    def test_remember_whether_they_clean_up(self):
        code, output, _ = run_script("""
            import KORVANE
            fus = KORVANE.FUS()
            print(fus.hasSecurityOnDestruction())
            fus.setSecurityOnDestruction(disconnect=False)
            print(fus.hasSecurityOnDestruction())
            """)
        self.assertEqual((0, "True\nFalse\n"), (code, output))


if __name__ == "__main__":
    unittest.main()
