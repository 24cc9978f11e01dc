"""The back panel, against a simulated generator: which channels of the boards are in use."""

import unittest

import KORVANE

from support import GeneratorTest, HOST, KorvaneTest, library

STORAGE = KORVANE.BackPanelStorage
ERROR = KORVANE.FUSError
ALL = "1" * 256
HALF = "1" * 128


class BackPanel(GeneratorTest):

    def read(self, storage):
        snt, amp = KORVANE.ChannelMask("101"), KORVANE.ChannelMask()
        self.fus.readBackPanelConfiguration(sntBoards=snt, ampBoards=amp, source=storage)
        return tuple("".join("01"[flag] for flag in mask) for mask in (snt, amp))

    def test_is_read_into_the_masks_that_are_given(self):
        self.connect()
        self.assertEqual((ALL, ALL), self.read(STORAGE.RAM))
        self.assertEqual(("", ""), self.read(STORAGE.FLASH))

    def test_is_set_at_the_cost_of_the_connection(self):
        recorder = self.connect()
        half = KORVANE.ChannelMask(HALF)
        self.fus.setBackPanelConfiguration(sntBoards=half, ampBoards=half, target=STORAGE.BOTH)
        self.assertFalse(self.fus.isConnected())
        self.assertEqual([("disconnect", 0)], recorder.wait_for("disconnect"))
        self.assertTrue(self.fus.connect(HOST, self.simulator.port))
        self.assertEqual(128, self.gen.getChannelCount())
        self.assertEqual((HALF, HALF), self.read(STORAGE.FLASH))
        self.fus.clearBackPanelConfiguration()
        self.assertTrue(self.fus.isConnected())
        self.assertEqual(("", ""), self.read(STORAGE.FLASH))

    def test_is_made_what_the_definition_says(self):
        self.connect()
        self.assertFalse(self.fus.applyDefBackPanel())
        self.addCleanup(self.gen.clearDefinition)
        self.assertTrue(self.gen.loadDefinitionString(
            "[config]\nip = %s\nport = %d\nchannels = 128\n[amplifier]\nversion = 1.0.0.0\n"
            "type = 2\nmeasures = 4\n[backpanel]\nSNT.mask = %s\nAMP.mask = %s\n"
            % (HOST, self.simulator.port, HALF, HALF)))
        self.assertTrue(self.fus.applyDefBackPanel())
        self.assertFalse(self.fus.isConnected())
        self.assertTrue(self.fus.connect())
        self.assertFalse(self.fus.applyDefBackPanel())
        self.assertEqual((HALF, HALF), self.read(STORAGE.RAM))

    def test_is_not_set_to_what_makes_no_sense(self):
        self.connect()
        one, two = KORVANE.ChannelMask("1"), KORVANE.ChannelMask("11")
        set_configuration = self.fus.setBackPanelConfiguration
        self.assertFUSError(int(ERROR.ERR_ARGUMENT), set_configuration, one, two, STORAGE.RAM,
                            message="Masks sizes mismatch.")
        self.assertFUSError(int(ERROR.ERR_ARGUMENT), set_configuration, one, one, STORAGE.FLASH,
                            message="Invalid backpanel storage target.")
        self.assertRaises(TypeError, set_configuration, one, one, 0)
        self.assertTrue(self.fus.isConnected())


class Unconnected(KorvaneTest):

    def test_there_is_no_back_panel(self):
        fus, mask = library(), KORVANE.ChannelMask()
        for call in [(fus.clearBackPanelConfiguration,), (fus.applyDefBackPanel,),
                     (fus.readBackPanelConfiguration, mask, mask, STORAGE.RAM),
                     (fus.setBackPanelConfiguration, mask, mask, STORAGE.RAM)]:
            with self.subTest(call=call[0].__name__):
                self.assertFUSError(int(ERROR.ERR_NOT_CONNECTED), *call)


if __name__ == "__main__":
    unittest.main()
