"""A board is whole, private, and leaves nothing behind."""

import os
import signal
import socket
import subprocess
import tempfile

import perimond


class WorldTest(perimond.BoardTest):
    def test_the_bus_is_the_system_bus_inside_and_reachable_outside(self):
        inside = self.world.run("gdbus", "call", "--system", "-d", "org.freedesktop.DBus", "-o",
                                "/", "-m", "org.freedesktop.DBus.GetId")
        reply = self.world.bus().call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                                           "GetId", None, None, 0, -1, None)
        self.assertEqual(inside, f"{reply}\n")

    def test_the_boot_environment_can_be_set_and_removed(self):
        self.world.do("env", "console", "a b=c")
        self.assertEqual(self.world.do("env", "console"), "a b=c\n")
        self.assertEqual(self.world.do("env", "modelname"), "PERIMOND-SIM\n")
        self.world.do("unenv", "console")
        with self.assertRaisesRegex(perimond.BoardError, "no variable console"):
            self.world.do("env", "console")
        self.assertEqual(self.world.run("cat", "/etc/fw_env.config"),
                         f"{self.world.directory}/env.bin 0x0000 0x4000\n")

    def test_settings_and_plugins_are_folders_of_the_world(self):
        for inside, outside in (("/etc/tarvel/TarvelPerimond", self.world.settings),
                                ("/usr/lib/aarch64-linux-gnu/tarvelperimond", self.world.plugins)):
            self.world.run("touch", f"{inside}/file")
            self.assertIn("file", os.listdir(outside))
        self.world.run("rm", "-r", "/etc/tarvel/TarvelPerimond")
        self.assertFalse(os.path.exists(self.world.settings))

    def test_the_rest_of_a_shadowed_folder_is_as_on_the_host(self):
        for folder in ("/etc", "/usr/sbin"):
            inside = set(self.world.run("ls", "-A", folder).split())
            self.assertLessEqual(set(os.listdir(folder)), inside)
        with open("/etc/passwd") as file:
            self.assertEqual(self.world.run("cat", "/etc/passwd"), file.read())

    def test_what_is_written_to_system_folders_stays_in_the_world(self):
        for path in ("/etc/perimond-test", "/run/perimond-test", "/usr/sbin/perimond-test"):
            self.world.run("touch", path)
            self.assertFalse(os.path.exists(path))

    def test_loading_a_module_is_noted_and_nothing_else(self):
        self.world.run("/sbin/modprobe", "uinput")
        self.assertEqual(self.world.accesses("/sbin/modprobe", ["run"]),
                         [("run", "/sbin/modprobe", "uinput", "0")])

    def test_the_network_is_private_and_its_loopback_is_up(self):
        lines = self.world.run("cat", "/proc/net/dev").splitlines()[2:]
        self.assertEqual([line.split(":")[0].strip() for line in lines], ["lo"])
        self.world.run("/usr/bin/python3", "-c",
                       "import socket; socket.create_server(('127.0.0.1', 0))")

    def test_a_command_ends_as_itself(self):
        self.assertEqual(subprocess.call(self.world.command("sh", "-c", "exit 7")), 7)
        self.assertEqual(subprocess.call(self.world.command("sh", "-c", "kill -ABRT $$"),
                                         stderr=subprocess.DEVNULL), -signal.SIGABRT)

    def test_signals_reach_a_command(self):
        command = self.world.popen("sh", "-c", "trap 'echo TERM; exit 3' TERM; echo; "
                                   "while :; do sleep 0.01; done")
        command.stdout.readline()
        command.terminate()
        self.assertEqual((command.communicate(timeout=5)[0], command.returncode), ("TERM\n", 3))

    def test_presets_can_be_put_and_taken_away(self):
        self.world.do("preset", "/sys/devices/soc0/family", "Freescale i.MX")
        self.assertEqual(self.world.read("/sys/devices/soc0/family"), "Freescale i.MX\n")
        self.world.do("preset", "/sys/bus/nvmem/devices/imx-ocotp0/nvmem", "raw:\\x00\\x02\\xff")
        with open(self.world.path("/sys/bus/nvmem/devices/imx-ocotp0/nvmem"), "rb") as file:
            self.assertEqual(file.read(), b"\0\2\xff")
        self.world.do("absent", "/sys/devices/soc0")
        self.assertFalse(os.path.exists(self.world.path("/sys/devices/soc0")))
        with self.assertRaisesRegex(perimond.BoardError, "not below /sys or /dev"):
            self.world.do("preset", "/etc/passwd", "x")

    def test_an_i2c_adapter_makes_devices(self):
        adapter = "/sys/bus/i2c/devices/i2c-0"
        self.assertEqual(self.world.read(f"{adapter}/name"), "board adapter\n")
        self.world.write(f"{adapter}/new_device", "pca9555 32\0garbage and more")
        self.assertEqual(self.world.read("/sys/bus/i2c/devices/0-0020/name"), "pca9555\n")
        with self.assertErrno("EBUSY"):
            self.world.write(f"{adapter}/new_device", "pca9555 0x20")
        for text in ("pca9555", "pca9555 128", " 32"):
            with self.subTest(text=text), self.assertErrno("EINVAL"):
                self.world.write(f"{adapter}/new_device", text)

    def test_the_otp_area_of_a_flash_answers_its_requests(self):
        self.world.do("otp", 0, "locked", "\\xfeABC")
        text = self.world.run("/usr/bin/python3", "-c", """
import fcntl, os, struct
SELECT, REGION = 0x80044d0d, 0x400c4d0f
flash = os.open("/dev/mtd0", os.O_RDONLY)
print(os.read(flash, 4))
fcntl.ioctl(flash, SELECT, struct.pack("i", 2))
region = bytearray(12)
fcntl.ioctl(flash, REGION, region)
print(struct.unpack("3I", region), os.pread(flash, 4, 0))
try:
    fcntl.ioctl(flash, 0x1234)
except OSError as error:
    print(error)
""")
        self.assertEqual(text.splitlines(),
                         ["b'\\xff\\xff\\xff\\xff'", "(0, 4, 1) b'\\xfeABC'",
                          "[Errno 25] Inappropriate ioctl for device"])

    def test_help_lists_the_commands_and_an_unknown_one_is_refused(self):
        self.assertIn("turn LINE LEVEL\n", self.world.do("help"))
        with self.assertRaisesRegex(perimond.BoardError, "unknown command 'fly'"):
            self.world.do("fly")
        with self.assertRaisesRegex(perimond.BoardError, "usage: turn LINE LEVEL"):
            self.world.do("turn", 5)

    def test_a_command_that_goes_wrong_does_not_end_the_board(self):
        with self.assertRaises(perimond.BoardError):
            self.world.do("pwmchip", 5, 1 << 60)
        self.assertEqual(self.world.do("read", 5), "0\n")

    def test_a_client_that_does_not_take_its_answer_holds_others_up_for_a_while_only(self):
        for _ in range(8):
            self.world.do("note", "x" * 100000)
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(os.path.join(self.world.directory, "control"))
            client.sendall(b"record\0")
            client.shutdown(socket.SHUT_WR)
            self.assertEqual(self.world.do("read", 5), "0\n")

    def test_the_commands_work_on_the_command_line_on_either_side(self):
        board = perimond.world.BOARD
        self.world.run(board, "turn", "7", "1")
        self.assertEqual(subprocess.check_output(
            [board, "--world", self.world.directory, "read", "7"], text=True), "1\n")
        refused = subprocess.run([board, "--world", self.world.directory, "read", "99"],
                                 text=True, capture_output=True)
        self.assertEqual((refused.returncode, refused.stderr), (1, "there is no line 99\n"))


class EndTest(perimond.BoardTest):
    """Nothing outside of the world's folder outlives it, however it ends."""

    def processes(self):
        """Processes that name the world, in their arguments or as their own mount table."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/cmdline") as file:
                    if self.world.directory in file.read():
                        found.append(pid)
            except OSError:
                continue
        return found

    def mounts(self):
        with open("/proc/self/mountinfo") as file:
            return file.read()

    def start_a_stubborn_process(self):
        process = self.world.popen("sh", "-c",
                                   f"trap '' TERM; setsid sleep 1000 {self.world.directory} & "
                                   "echo; while :; do sleep 1; done", stderr=subprocess.DEVNULL)
        process.stdout.readline()
        self.addCleanup(process.wait)
        self.addCleanup(process.stdout.close)

    def assertNothingLeft(self):
        perimond.wait_until(lambda: not self.processes(), "the world's processes end")

    def test_nothing_is_left_after_the_end(self):
        mounts = self.mounts()
        self.start_a_stubborn_process()
        self.assertEqual(self.mounts(), mounts)
        self.world._process.terminate()
        self.assertNothingLeft()
        self.assertEqual(os.listdir(os.path.join(self.world.directory, "stage")), [])

    def test_nothing_is_left_after_kill_9_of_the_command(self):
        self.start_a_stubborn_process()
        self.world._process.kill()
        self.assertNothingLeft()

    def test_nothing_is_left_after_kill_9_of_the_first_process(self):
        self.start_a_stubborn_process()
        os.kill(int(self.world.path("").split("/")[2]), signal.SIGKILL)
        self.assertNothingLeft()

    def test_a_board_runs_a_command_and_ends_with_it(self):
        with tempfile.TemporaryDirectory() as directory:
            run = subprocess.run([perimond.world.BOARD, "run", "--world", directory, "--", "sh",
                                  "-c", "cat /sys/class/leds/*/trigger; exit 5"],
                                 text=True, capture_output=True)
        self.assertEqual((run.returncode, run.stdout.count("[none]")), (5, 2))

    def test_a_board_file_with_a_mistake_names_its_line(self):
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "wrong.board")
            with open(path, "w") as file:
                file.write("gpiochip 0 8\nadd-led\n")
            run = subprocess.run([perimond.world.BOARD, "run", "--world", directory, "--board",
                                  path, "--", "true"], text=True, capture_output=True)
        self.assertEqual((run.returncode, run.stderr),
                         (125, f"tarvelperimond-board: {path}:2: usage: add-led NAME "
                               "[max=NUMBER] [trigger=NAME]\n"))


if __name__ == "__main__":
    perimond.main()
