"""The definition of an installation, and the generator's settings, against a simulated generator."""

import os
import unittest

import KORVANE

from support import GeneratorTest, KorvaneTest, library, SOURCE_DIR

ARGUMENT = int(KORVANE.FUSError.ERR_ARGUMENT)
CONFIG = int(KORVANE.FUSError.ERR_CONFIG)
NOT_CONNECTED = int(KORVANE.FUSError.ERR_NOT_CONNECTED)
PROTOCOL = int(KORVANE.FUSError.ERR_PROTOCOL)
SUPPLY = KORVANE.Peripheral.POWER_SUPPLY_28V


def definition(protocol):
    return os.path.join(SOURCE_DIR, "examples", "definitions", "generator-%s.ini" % protocol)


class Unconnected(KorvaneTest):

    def tearDown(self):
        library().gen.clearDefinition()

    def test_a_definition_gives_its_address_until_it_is_cleared(self):
        fus, gen = library(), library().gen
        self.assertEqual(("", 0, False), (fus.getDefinitionHost(), fus.getDefinitionPort(),
                                          gen.isDefinitionLoaded()))
        self.assertTrue(gen.loadDefinition(definition("3.1")))
        self.assertEqual(("127.0.0.1", 1670, True),
                         (fus.getDefinitionHost(), fus.getDefinitionPort(),
                          gen.isDefinitionLoaded()))
        self.assertFalse(gen.isShotResultConversionEnabled())
        self.assertFalse(gen.loadDefinition(""))
        self.assertFalse(gen.isDefinitionLoaded())

    def test_a_failed_load_leaves_nothing_and_says_why(self):
        gen = library().gen
        with open(definition("3.1"), encoding="utf-8") as file:
            text = file.read()
        self.assertTrue(gen.loadDefinitionString(text))
        with self.logged(KORVANE.LogLevel.ERROR) as lines:
            self.assertFalse(gen.loadDefinitionString(text.replace("channels = 256", "")))
            self.assertIn("  failed requirement: m_channels != 0", lines())
        self.assertFalse(gen.isDefinitionLoaded())
        for bad in ("[", "\x01\x02 rubbish = \xff", "a" * 100000):
            self.assertFalse(gen.loadDefinitionString(bad))
        self.assertFalse(gen.loadDefinition(os.path.join(SOURCE_DIR, "no such file")))

    def test_commands_say_so(self):
        fus, gen = library(), library().gen
        mask = KORVANE.ChannelMask(256, True)
        for call in [(fus.checkConfiguration,), (fus.checkVoltages, [1.0]),
                     (fus.readPeripheralState, SUPPLY), (fus.setPeripheralState, SUPPLY, True),
                     (gen.readAmplifierTemperatures, False), (gen.readPowerSupplies,),
                     (gen.setMaxAmplifierTemperatures, [1.0]), (gen.readAmplifierCurrents, True),
                     (gen.setMaxAmplifierCurrents, [1.0]), (gen.readMultiplexerValue,),
                     (gen.setMultiplexerValue, 1), (gen.readAmplitudeThreshold,),
                     (gen.setAmplitudeThreshold, 1), (gen.readOutCurrentThreshold,),
                     (gen.setOutCurrentThreshold, 1), (gen.readChannelsState,),
                     (gen.setChannelsState, mask), (gen.readShotRampDuration, True),
                     (gen.setShotRampDuration, True, 1), (gen.readClockFrequency,),
                     (gen.setClockFrequency, 24000000), (gen.readShootingDurationTolerance,),
                     (gen.setShootingDurationTolerance, 1), (gen.setHeartBeatTimeout, 0),
                     (gen.readTotalShotDurationTolerance,), (gen.readHeartBeatTimeout,),
                     (gen.setTotalShotDurationTolerance, 1), (gen.sendHeartBeat,), (gen.wait, 1),
                     (gen.simulateTriggerInPulse,), (gen.checkWatchdog,),
                     (gen.enableAmplifierPowerSupplies, True)]:
            with self.subTest(call=call[0].__name__):
                self.assertFUSError(NOT_CONNECTED, *call)


class Connected(GeneratorTest):

    def connect(self, *options):
        library().gen.clearDefinition()
        self.addCleanup(library().gen.clearDefinition)
        self.assertTrue(library().gen.loadDefinition(definition(self.protocol)))
        return super().connect(*options)

    def test_powers_come_with_the_shots(self):
        recorder = self.connect()
        self.assertTrue(self.gen.isShotResultConversionEnabled())
        self.fus.checkConfiguration()
        self.assertEqual(0, self.fus.checkVoltages(self.gen.readPowerSupplies()))
        self.shoot(shots=1, amplitude=255, delay_us=40000)
        result = recorder.wait_for("shot")[0][2]
        for channel in range(result.channelCount()):
            self.assertTrue(result.power(channel) > 1.0, result.power(channel))
        self.gen.clearDefinition()
        self.assertFUSError(CONFIG, self.fus.checkConfiguration,
                            message="No generator definition loaded")

    def test_every_setting_reads_as_it_was_set(self):
        self.connect()
        gen = self.gen
        amplifiers = gen.getAmplifierTemperatureCount()
        mask = KORVANE.ChannelMask(gen.getChannelCount(), True)
        mask[3] = False
        for write, arguments, read in [
                (gen.setAmplitudeThreshold, (200,), (gen.readAmplitudeThreshold,)),
                (gen.setOutCurrentThreshold, (255,), (gen.readOutCurrentThreshold,)),
                (gen.setShotRampDuration, (True, 1000), (gen.readShotRampDuration, True)),
                (gen.setShotRampDuration, (False, 2000), (gen.readShotRampDuration, False)),
                (gen.setMaxAmplifierTemperatures, ([60.5] * amplifiers,),
                 (gen.readAmplifierTemperatures, True)),
                (gen.setMaxAmplifierCurrents, ([7.25] * amplifiers,),
                 (gen.readAmplifierCurrents, True)),
                (gen.setChannelsState, (mask,), (gen.readChannelsState,)),
                (self.fus.setPeripheralState, (SUPPLY, False),
                 (self.fus.readPeripheralState, SUPPLY))] + self.settings_of_the_generation():
            with self.subTest(setting=write.__name__):
                write(*arguments)
                self.assert_reads(arguments[-1], read[0](*read[1:]))

    def assert_reads(self, expected, value):
        """Lists of floats come back as near as the raw values of the boards allow."""
        if isinstance(expected, list):
            self.assertEqual(len(expected), len(value))
            for wanted, got in zip(expected, value):
                self.assertTrue(abs(wanted - got) < 0.002, (wanted, got))
        elif isinstance(expected, KORVANE.ChannelMask):
            self.assertEqual([expected[i] for i in range(expected.size())],
                             [value[i] for i in range(value.size())])
        else:
            self.assertEqual(expected, value)

    def settings_of_the_generation(self):
        gen = self.gen
        return [(gen.setClockFrequency, (25000000,), (gen.readClockFrequency,)),
                (gen.setHeartBeatTimeout, (60000,), (gen.readHeartBeatTimeout,)),
                (gen.setShootingDurationTolerance, (321,), (gen.readShootingDurationTolerance,)),
                (gen.setTotalShotDurationTolerance, (654,),
                 (gen.readTotalShotDurationTolerance,))]

    def test_lists_of_a_wrong_length_or_type_are_refused_before_anything_is_sent(self):
        self.connect()
        sent = self.fus.getTotalSent()
        for values in ([], [1.0], [1.0] * 99):
            self.assertFUSError(ARGUMENT, self.gen.setMaxAmplifierTemperatures, values)
            self.assertFUSError(ARGUMENT, self.gen.setMaxAmplifierCurrents, values)
        right = [20.0] * (self.gen.getAmplifierTemperatureCount() - 1)
        self.assertFUSError(ARGUMENT, self.gen.setMaxAmplifierTemperatures, right + [256.5],
                            message="Temperature threshold[%d] is out of range (256.5)."
                            % len(right))
        for wrong in (1.0, "text", None, (1.0,)):
            self.assertRaises(TypeError, self.gen.setMaxAmplifierTemperatures, wrong)
            self.assertRaises(TypeError, self.fus.checkVoltages, wrong)
        for wrong in (["text"], [None], [[1.0]]):
            self.assertRaises(RuntimeError, self.gen.setMaxAmplifierCurrents, wrong)
            self.assertRaises(RuntimeError, self.fus.checkVoltages, wrong)
        self.assertEqual(sent, self.fus.getTotalSent())


class ConnectedToProtocol30(Connected):

    protocol = "3.0"


class ConnectedToProtocol2(Connected):

    protocol = "2.5"

    def settings_of_the_generation(self):
        self.assertFUSError(PROTOCOL, self.gen.readClockFrequency)
        self.assertFUSError(PROTOCOL, self.gen.sendHeartBeat)
        return [(self.gen.setMultiplexerValue, (17,), (self.gen.readMultiplexerValue,))]


if __name__ == "__main__":
    unittest.main()
