"""Digital inputs and outputs on the bus and on the board."""

import perimond


class DioTest(perimond.DaemonTest):
    environment = {"DIO_SAMPLING_INTERVAL": "5"}


class EventTest(DioTest):
    def test_each_change_of_an_input_is_announced(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        self.world.do("turn", 16, 1)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])
        self.world.do("turn", 16, 0)
        recorder.expect([("DIO/DI1", "StateChanged", (0,))])


if __name__ == "__main__":
    perimond.main()
