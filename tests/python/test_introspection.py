"""What the connected system tells about itself: boards, the JSON document, the reboot."""

import json
import re
import unittest

import KORVANE

from support import description, GeneratorTest, HOST, KorvaneTest, library

BOARD = KORVANE.BoardType
NOT_CONNECTED = int(KORVANE.FUSError.ERR_NOT_CONNECTED)
ARGUMENT = int(KORVANE.FUSError.ERR_ARGUMENT)
TYPES = {"UPB": BOARD.PROCESSOR, "SNT": BOARD.SYNTHESIZER, "AMP": BOARD.AMPLIFIER,
         "MOT": BOARD.MECHANICS}


def parsed(document):
    """The document without the commas that stand in front of a closing brace or bracket."""
    return json.loads(re.sub(r",(\s*[}\]])", r"\1", document))


def sent_lines(protocol):
    """The text that the simulated generator sends, as the document has it."""
    lines = []
    with open(description(protocol), encoding="utf-8") as file:
        for line in map(str.strip, file):
            if line and line[0] not in "#;":
                lines += [""] if line[0] == "[" and lines else []
                lines.append(line)
    return lines + [""]


class Unconnected(KorvaneTest):

    def test_system_is_an_empty_object_and_says_so_otherwise(self):
        fus = library()
        self.assertEqual("{}", fus.exportJSONConfig())
        for call in [(fus.readBoardVersions, BOARD.PROCESSOR, 0),
                     (fus.readBoardInfo, BOARD.PROCESSOR, 0), (fus.reboot, fus.REBOOT_ALL)]:
            self.assertFUSError(NOT_CONNECTED, *call)


class System(GeneratorTest):

    def boards_of(self, protocol):
        """The parsed document of a simulated generator, checked against what the library tells."""
        self.protocol = protocol
        self.connect()
        system = parsed(self.fus.exportJSONConfig())
        self.assertEqual((HOST, self.simulator.port, str(self.fus.getProtocolVersion())),
                         (system["host"], system["port"], system["protocol"]))
        self.assertEqual(sent_lines(protocol), system["INI"])
        boards = system["boards"]
        for name, kind in TYPES.items():
            self.assertEqual([name] * self.fus.getDetectedBoardCount(kind),
                             [board["type"] for board in boards[name]])
            board = self.fus.getBoard(kind, 0)
            self.assertEqual((str(board.hardwareVersion()), board.boardMeasureCount()),
                             (boards[name][0]["hwVersion"],
                              len(boards[name][0].get("boardMeasures", []))))
            hardware, firmware = self.fus.readBoardVersions(btype=kind, address=board.address())
            self.assertEqual((self.fus.getHardwareVersion(kind), self.fus.getFirmwareVersion(kind)),
                             (hardware, firmware))
        self.assertEqual(sum(map(self.fus.getDetectedBoardCount, TYPES.values())),
                         boards["detected"])
        self.assertEqual(sum(map(self.fus.getBoardCount, TYPES.values())), boards["active"])
        return system, boards

    def test_of_protocol_31_asks_the_amplifier_that_is_not_in_the_text(self):
        system, boards = self.boards_of("3.1")
        self.assertTrue(system["simulator"])
        self.assertEqual((0x0C00000F, "0x2E7709A1", "2019-03-11 16:31:30", 15),
                         tuple(boards["AMP"][15][key]
                               for key in ("uid", "fwCRC0x", "fwBuildTime", "slot")))
        info = self.fus.readBoardInfo(btype=BOARD.AMPLIFIER, address=15)
        self.assertEqual((131072, 0x2E7709A1, "2019-03-11 16:31:30"),
                         (info.firmwareSize(), info.firmwareCRC(), info.firmwareDatetime()))
        self.assertEqual(self.fus.getHardwareVersion(BOARD.AMPLIFIER), info.hardwareVersion())
        self.assertEqual(self.fus.getFirmwareVersion(BOARD.AMPLIFIER), info.firmwareVersion())
        self.assertFUSError(ARGUMENT, self.fus.readBoardInfo, BOARD.AMPLIFIER, 20)
        self.assertFUSError(ARGUMENT, self.fus.reboot, how=9002)

    def test_of_protocol_30_has_no_back_panel(self):
        system, _ = self.boards_of("3.0")
        self.assertEqual({""}, set(system["backpanel"].values()))

    def test_of_protocol_25_asks_every_slave(self):
        system, boards = self.boards_of("2.5")
        self.assertNotIn("simulator", system)
        self.assertEqual([(0, "0x00004E21", "2011-09-02 11:05:40", slot) for slot in range(4)],
                         [(board["uid"], board["fwCRC0x"], board["fwBuildTime"], board["slot"])
                          for board in boards["SNT"]])

    def test_is_left_by_a_reboot_of_the_slaves(self):
        recorder = self.connect("--time-scale", "0")
        recorder.wait_for("connect")
        self.fus.reboot(how=self.fus.REBOOT_SLAVES)
        self.assertFalse(self.fus.isConnected())
        self.assertEqual([("disconnect", 0)], recorder.wait_for("disconnect"))
        self.assertTrue(self.fus.connect(HOST, self.simulator.port))


if __name__ == "__main__":
    unittest.main()
