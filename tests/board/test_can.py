"""CAN controllers answer libsocketcan as the board was told."""

import os

import perimond

CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "can_client.py")


class CANTest(perimond.BoardTest):
    def setUp(self):
        super().setUp()
        self.world.do("add-can", "canX")

    def asked(self, name="canX"):
        return tuple(map(int, self.world.run("/usr/bin/python3", CLIENT, name).split()))

    def test_a_new_controller_is_stopped(self):
        self.assertEqual(self.asked(), (4, 500000))
        self.assertEqual(self.world.do("can", "canX"), "state=stopped bitrate=500000\n")

    def test_what_a_command_sets_the_library_answers(self):
        for number, state in enumerate(("error-active", "error-warning", "error-passive", "bus-off",
                                        "stopped", "sleeping")):
            with self.subTest(state):
                self.world.do("can", "canX", f"state={state}", f"bitrate={number}")
                self.assertEqual(self.asked(), (number, number))
                self.assertEqual(self.world.do("can", "canX"), f"state={state} bitrate={number}\n")
        self.world.do("can", "canX", "state=9")
        self.assertEqual(self.asked(), (9, 5))

    def test_there_may_be_several(self):
        self.world.do("add-can", "canY", "state=error-active", "bitrate=1000000")
        self.assertEqual((self.asked("canX"), self.asked("canY")), ((4, 500000), (0, 1000000)))

    def test_state_and_bit_rate_can_fail_each(self):
        self.world.do("fail", "/dev/can/canX/state", "read", "EIO", 1)
        self.assertEqual(self.asked(), (-1, 500000))
        self.world.do("fail", "/dev/can/canX/bitrate", "open", "EIO", 1)
        self.assertEqual(self.asked(), (4, -1))
        self.assertEqual(self.asked(), (4, 500000))

    def test_one_that_is_not_there_has_no_answers(self):
        self.assertEqual(self.asked("canZ"), (-1, -1))
        self.world.do("absent", "/dev/can/canX")
        self.assertEqual(self.asked(), (-1, -1))
        for name in ("canX", "canZ"):
            with self.assertRaisesRegex(perimond.BoardError, f"there is no CAN controller {name}"):
                self.world.do("can", name)

    def test_one_that_comes_back_is_new(self):
        self.world.do("can", "canX", "state=bus-off", "bitrate=1")
        self.world.do("absent", "/dev/can/canX")
        self.world.do("add-can", "canX")
        self.assertEqual(self.asked(), (4, 500000))

    def test_the_record_tells_what_was_asked(self):
        self.world.do("record", "--clear")
        self.asked()
        self.assertEqual([path for _, path, *_ in self.world.accesses("/dev/can/*", ("open",))],
                         ["/dev/can/canX/state", "/dev/can/canX/bitrate"])

    def test_wrong_words_are_refused(self):
        for words, text in ((("can", "canX", "state=tired"), "is not a number"),
                            (("can", "canX", "speed=1"), "has no 'speed'")):
            with self.subTest(words), self.assertRaisesRegex(perimond.BoardError, text):
                self.world.do(*words)


if __name__ == "__main__":
    perimond.main()
