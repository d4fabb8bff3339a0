"""LEDs on the bus and on the board."""

import perimond


class LedClassTest(perimond.DaemonTest):
    def test_switching_it_on_lights_it(self):
        led = self.bus_object("LED/READY")
        with self.log() as lines:
            led.SetState(1)
        self.assertEqual([line for line in lines if "LED/READY" in line],
                         ["<info>  [LED/READY] Get method call: SetState(1)",
                          "<info>  [LED/READY] SetState(1) OK"])
        self.assertEqual(self.world.do("led", "sim:green:ready"), "none 1\n")


if __name__ == "__main__":
    perimond.main()
