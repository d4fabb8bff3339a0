"""Storage slots: the disk in them, its partitions, automatic mounting, the I/O state."""

import os

import perimond
from storage import StorageTest

USB = "Disk/USB"
ADD = "[Disk/USB] Device=/dev/sda"


def settings(test):
    with open(f"{test.world.settings}/peripheral-settings.conf", encoding="utf-8") as file:
        return file.read()


class SlotTest(StorageTest):
    def properties(self, identifier=USB):
        obj = self.bus_object(identifier)
        return {name: obj.get(name) for name in (
            "Device", "IsSystemDisk", "NumberOfPartitions", "Partitions", "AutoMountSetting",
            "IOState")}

    def test_an_empty_slot_is_not_on_the_bus(self):
        self.assertEqual(self.objects(), [])

    def test_the_first_disk_brings_the_slot_on_the_bus_and_is_announced(self):
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.insert("sda"),
                         ["<debug> " + ADD,
                          "<info>  [Disk/USB] Exported at '/com/tarvel/Perimond/Disk/USB'"])
        self.assertEqual(self.properties(), {
            "Device": "/dev/sda", "IsSystemDisk": False, "NumberOfPartitions": 0, "Partitions": [],
            "AutoMountSetting": False, "IOState": 0})
        signals.wait_for(lambda: signals.events, "the signal")
        self.assertEqual(signals.events, [(USB, "hotPlug", ("add", "/dev/sda"))])

    def test_the_disk_goes_and_the_slot_with_it(self):
        self.insert("sda")
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.unplug("sda"), ["<info>  [Disk/USB] Unexported"])
        self.assertEqual(self.objects(), [])
        signals.wait_for(lambda: (USB, "hotPlug", ("remove", "/dev/sda")) in signals.events,
                         "the signal")

    def test_a_disk_that_comes_back_is_the_same_object(self):
        for _ in range(3):
            self.assertIn("<debug> " + ADD, self.insert("sda"))
            self.unplug("sda")
        self.assertIn("<debug> [Disk/USB] Device=/dev/sdc", self.insert("sdc"))
        self.assertEqual(self.properties()["Device"], "/dev/sdc")

    def test_a_second_disk_in_the_slot_is_only_told_of(self):
        self.insert("sda")
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.lines(self.disk("sdb")), [
            "<warn>  [Disk/USB] Detected a new disk '/dev/sdb', but device already exists: "
            "'/dev/sda'"])
        self.assertEqual(self.lines(("unplug", "block", "sdb")), [])
        self.assertEqual(self.properties()["Device"], "/dev/sda")
        self.assertEqual([event for event in signals.events if "/dev/sdb" in event[2]], [])

    def test_the_same_disk_again_does_nothing(self):
        self.insert("sda")
        self.assertEqual(self.lines(("change", "block", "sda", "add")), [])

    def test_devices_that_are_no_disks_and_disks_without_a_node_are_ignored(self):
        self.assertEqual(self.lines(
            ("plug", "block", "loop0", "devtype=other", "node=loop0", "COMMAND=disk-event " + USB),
            ("plug", "block", "sdz", "devtype=disk", "COMMAND=disk-event " + USB),
            ("plug", "block", "sdy", "COMMAND=disk-event " + USB, "node=sdy")), [])

    def test_partitions_are_listed_in_the_order_of_their_arrival(self):
        self.insert("sda", "sda2", "sda10", "sda1")
        self.assertEqual(self.properties()["Partitions"], ["/dev/sda2", "/dev/sda10", "/dev/sda1"])
        self.assertEqual(self.properties()["NumberOfPartitions"], 3)
        self.assertEqual(self.objects(), [USB, "Partition/USB_p1", "Partition/USB_p10",
                                          "Partition/USB_p2"])

    def test_a_partition_is_told_of_once_it_is_there(self):
        self.insert("sda", "sda2")
        self.assertEqual(self.lines(self.partition("sda1")), [
            "<info>  [Partition/USB_p1] Exported at '/com/tarvel/Perimond/Partition/USB_p1'",
            "<debug> [Disk/USB] Partition2=/dev/sda1"])

    def test_a_partition_goes(self):
        self.insert("sda", "sda1", "sda2")
        self.assertEqual(self.unplug("sda1"), [
            "<info>  [Partition/USB_p1] Unexported",
            "<info>  [Partition/USB_p1] Object destroyed",
            "<debug> [Disk/USB] Remove partition '/dev/sda1'"])
        self.assertEqual(self.properties()["Partitions"], ["/dev/sda2"])
        self.assertEqual(self.properties()["NumberOfPartitions"], 1)
        self.assertEqual(self.objects(), [USB, "Partition/USB_p2"])

    def test_a_partition_that_is_not_known_goes_without_a_trace(self):
        self.insert("sda", "sda1")
        self.world.do("plug", "block", "sda7", "devtype=partition", "node=sda7", "quiet=1",
                      "COMMAND=disk-event " + USB)
        self.assertEqual(self.unplug("sda7"), [])
        self.assertEqual(self.properties()["NumberOfPartitions"], 1)

    def test_the_same_partition_again_is_only_told_of(self):
        self.insert("sda", "sda1")
        self.assertEqual(self.lines(("change", "block", "sda1", "add")),
                         ["<warn>  [Disk] This partition has been added: /dev/sda1"])
        self.assertEqual(self.properties()["NumberOfPartitions"], 1)

    def test_partitions_come_only_to_a_slot_with_a_disk(self):
        self.assertEqual(self.lines(self.partition("sda1")), [])
        self.insert("sdb")
        self.lines(("unplug", "block", "sdb"))
        self.assertEqual(self.lines(("change", "block", "sda1", "add")), [])

    def test_all_goes_when_disk_and_partitions_go_in_any_order(self):
        for quiet in (("sda", "sda1"), ("sda1", "sda")):
            self.world.do("plug", "block", "sda", "devtype=disk", "node=sda",
                          "COMMAND=disk-event " + USB)
            self.world.do("plug", "block", "sda1", "devtype=partition", "node=sda1",
                          "COMMAND=disk-event " + USB)
            self.act()
            self.assertEqual(self.objects(), [USB, "Partition/USB_p1"])
            for node in quiet:
                self.unplug(node)
            self.assertEqual(self.objects(), [])
        self.insert("sda", "sda1")
        self.assertEqual(self.properties()["NumberOfPartitions"], 1)

    def test_a_partition_of_another_disk_is_ignored_by_type_1(self):
        self.insert("sda")
        self.assertEqual(self.lines(self.partition("sdb1"), self.partition("sdaa1"),
                                    ("unplug", "block", "sdb1"), ("unplug", "block", "sdaa1")), [])

    def test_a_number_of_partitions_is_told_as_properties_change(self):
        self.insert("sda")
        changes = self.recorder(USB, "PropertiesChanged")
        self.lines(self.partition("sda1"))
        changes.wait_for(lambda: changes.events, "the change")
        self.assertEqual(changes.events[0][2], {"NumberOfPartitions": 1,
                                                "Partitions": ["/dev/sda1"]})

    def test_three_hundred_partitions(self):
        self.world.do("plug", "block", "sda", "devtype=disk", "node=sda",
                      "COMMAND=disk-event " + USB)
        numbers = range(1, 301)
        for number in numbers:
            self.world.do(*self.partition(f"sda{number}"))
            if number % 50 == 0:
                self.act()
        self.assertEqual(self.properties()["NumberOfPartitions"], 300)
        self.assertEqual(len(self.objects()), 301)
        self.world.do("unplug", "block", "sda")
        perimond.wait_until(lambda: self.objects() == [], "all have gone", 30)


class NameTest(StorageTest):
    init = ("disk SD 3",)

    def test_the_p_between_a_disk_with_a_number_and_its_partition_is_no_part_of_the_name(self):
        self.insert("mmcblk1", "mmcblk1p2", slot="SD")
        self.assertEqual(self.objects(), ["Disk/SD", "Partition/SD_p2"])

    def test_only_one_p_is_left_out(self):
        self.insert("mmcblk1", "mmcblk1pp2", slot="SD")
        self.assertIn("Partition/SD_pp2", self.objects())

    def test_a_file_that_is_shorter_than_the_disks_is_ignored(self):
        self.insert("mmcblk1", slot="SD")
        self.assertEqual(self.lines(self.partition("sda1", "mmcblk1", slot="SD"),
                                    ("unplug", "block", "sda1")), [])
        self.assertEqual(self.bus_object("Disk/SD").get("NumberOfPartitions"), 0)

    def test_partitions_of_other_disks_come_too(self):
        self.insert("sda", slot="SD")
        self.lines(self.partition("sdb3", "sda", slot="SD"))
        self.assertEqual(self.bus_object("Disk/SD").get("Partitions"), ["/dev/sdb3"])
        self.assertEqual(self.objects(), ["Disk/SD", "Partition/SD_p3"])

    def test_two_partitions_never_share_an_object(self):
        self.insert("sda", "sda1", slot="SD")
        self.assertEqual(self.lines(self.partition("sdb1", "sda", slot="SD")),
                         ["<warn>  [Disk/SD] Partition '/dev/sdb1' is left out: there is a "
                          "Partition/SD_p1"])
        self.assertEqual(self.lines(("unplug", "block", "sdb1")), [])
        self.assertEqual(self.bus_object("Disk/SD").get("Partitions"), ["/dev/sda1"])
        self.assertEqual(self.bus_object("Partition/SD_p1").get("Device"), "/dev/sda1")
        self.lines(("unplug", "block", "sda1"))
        self.assertEqual(self.objects(), ["Disk/SD"])

    def test_a_name_that_no_path_can_have_is_not_exported_and_does_no_harm(self):
        self.insert("sda", slot="SD")
        lines = self.lines(self.partition("sda1-x", "sda", slot="SD"))
        self.assertIn("<debug> [Disk/SD] Partition1=/dev/sda1-x", lines)
        self.assertEqual(self.objects(), ["Disk/SD"])
        self.assertIn("<debug> [Disk/SD] Remove partition '/dev/sda1-x'",
                      self.lines(("unplug", "block", "sda1-x")))


class TableTest(StorageTest):
    """Type 2: a disk without a partition table is none."""

    init = ("disk USB 2",)

    def test_a_disk_without_a_table_is_not_taken(self):
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.lines(self.disk("sda")), ["<debug> " + ADD])
        self.assertEqual(self.objects(), [])
        self.assertEqual(self.lines(self.partition("sda1")), [])
        self.assertEqual(self.told("disk-told USB"),
                         ["system 0 automatic 0 type 2 length 8 available 1"])
        self.assertEqual(signals.events, [])

    def test_a_change_that_shows_a_table_lets_partitions_come(self):
        self.lines(self.disk("sda"))
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.lines(("change", "block", "sda", "ID_PART_TABLE_TYPE=dos")), [])
        self.assertIn("<debug> [Disk/USB] Partition1=/dev/sda1",
                      self.lines(self.partition("sda1")))
        self.assertEqual(self.objects(), ["Partition/USB_p1"])
        self.assertEqual(signals.events, [])
        self.assertEqual(self.act("disk-export USB")[-1],
                         "<info>  [Disk/USB] Exported at '/com/tarvel/Perimond/Disk/USB'")

    def test_a_change_without_a_table_lets_no_more_partitions_come(self):
        self.insert("sda")
        # The device that changes has the same node, and no table any more.
        self.world.do("plug", "block", "sda-again", "devtype=disk", "node=sda", "quiet=1",
                      "COMMAND=disk-event Disk/USB")
        self.lines(("change", "block", "sda-again"))
        self.assertEqual(self.lines(self.partition("sda1")), [])

    def test_a_change_of_another_disk_says_nothing_of_this_one(self):
        self.lines(self.disk("sda"))
        self.insert("sdc")
        self.lines(("change", "block", "sda"))
        self.assertIn("<debug> [Disk/USB] Partition1=/dev/sdc1",
                      self.lines(self.partition("sdc1", "sdc")))

    def test_a_disk_with_a_table_is_taken_at_once(self):
        self.insert("sda", "sda1")
        self.assertEqual(self.objects(), [USB, "Partition/USB_p1"])

    def test_a_change_means_nothing_to_another_type(self):
        self.act("disk USB 1")
        self.lines(self.disk("sda"))
        self.assertEqual(self.objects(), [USB])
        self.lines(("change", "block", "sda"))
        self.assertIn("<debug> [Disk/USB] Partition1=/dev/sda1",
                      self.lines(self.partition("sda1")))


class SystemDiskTest(StorageTest):
    init = ("disk SD 2", "disk USB 1")

    def test_the_disk_that_holds_the_root_is_the_system_disk_and_not_announced(self):
        signals = self.recorder(member="hotPlug")
        self.insert("mmcblk0", "mmcblk0p2", slot="SD")
        self.assertTrue(self.bus_object("Disk/SD").get("IsSystemDisk"))
        self.insert("mmcblk1")
        signals.wait_for(lambda: signals.events, "the other disk's signal")
        self.assertEqual(signals.events, [(USB, "hotPlug", ("add", "/dev/mmcblk1"))])
        self.assertFalse(self.bus_object(USB).get("IsSystemDisk"))

    def test_the_plugin_may_say_it(self):
        self.insert("sda")
        self.act("disk-system USB 1")
        self.assertTrue(self.bus_object(USB).get("IsSystemDisk"))
        self.act("disk-system USB 0")
        self.assertFalse(self.bus_object(USB).get("IsSystemDisk"))


class CommandLineTest(StorageTest):
    starts = False
    init = ("disk USB 1",)

    def is_system_disk(self, line, node):
        self.sh('printf "%s\n" "$1" >/run/cmdline', line)
        self.start_daemon()
        self.insert(node)
        found = self.bus_object(USB).get("IsSystemDisk")
        self.stop_daemon()
        self.daemon = None
        self.world.do("unplug", "block", node)
        del self._bus
        return found

    def test_only_the_disk_of_the_root_is_the_system_disk(self):
        for line, node, expected in (
                ("root=/dev/sda", "sda", True), ("root=/dev/sda2 rw", "sda", True),
                ("quiet root=/dev/sdaa1", "sda", False), ("root=/dev/mmcblk0p2", "mmcblk0", True),
                ("root=/dev/mmcblk10p2", "mmcblk1", False), ("root=UUID=1234", "sda", False),
                ("root=/dev/nvme0n1p3", "nvme0n1", True), ("ro", "sda", False),
                ("root=/dev/sdb1 root=/dev/sda1", "sda", False)):
            with self.subTest(line=line, node=node):
                self.assertEqual(self.is_system_disk(line, node), expected)

    def test_a_root_without_a_device_is_told_of_by_each_disk_object(self):
        self.sh('printf "%s\n" "root=LABEL=top\tquiet" >/run/cmdline')
        self.start_daemon()
        warning = ("<warn>  [Disk] Fail to match regex info /proc/cmdline with "
                   "root=LABEL=top\\tquiet")
        self.assertEqual(self.log_lines().count(warning), 1)
        self.act("disk SD 2")
        self.assertEqual(self.log_lines().count(warning), 2)

    def test_a_command_line_that_cannot_be_read_is_told_of(self):
        self.world.do("preset", "/dev/gone", "")
        self.sh("mount --bind /dev/gone /proc/cmdline")
        self.world.do("fail", "/dev/gone", "open", "EACCES")
        self.start_daemon()
        self.assertIn("<warn>  [Disk] Failed to load float system disk info: Failed to open file "
                      "“/proc/cmdline”: Permission denied", self.log_lines())


class AutoMountTest(StorageTest):
    def test_the_setting_is_off_and_stored_at_first(self):
        self.assertIn("[Disk/USB]\nAutoMount=false\n", settings(self))
        self.insert("sda")
        self.assertFalse(self.bus_object(USB).get("AutoMountSetting"))

    def test_it_is_set_published_stored_and_logged(self):
        self.insert("sda")
        for enable, word in ((True, "true"), (False, "false")):
            with self.log("[Disk/USB]") as lines:
                self.bus_object(USB).SetAutoMount(enable)
            self.assertEqual(lines, [
                f"<info>  [Disk/USB] Get method call: SetAutoMount({word})",
                f"<info>  [Disk/USB] SetAutoMount({word}) OK"])
            self.assertEqual(self.bus_object(USB).get("AutoMountSetting"), enable)
            self.assertIn(f"[Disk/USB]\nAutoMount={word}\n", settings(self))

    def test_it_is_kept_over_a_restart(self):
        self.insert("sda")
        self.bus_object(USB).SetAutoMount(True)
        self.stop_daemon()
        self.start_daemon()
        self.wait_for(USB, AutoMountSetting=True)

    def test_what_is_set_already_is_not_written_again(self):
        self.insert("sda")
        self.bus_object(USB).SetAutoMount(True)
        before = self.sh("stat -c %i-%y /etc/tarvel/TarvelPerimond/peripheral-settings.conf")
        self.bus_object(USB).SetAutoMount(True)
        self.act("disk USB 1")
        self.assertEqual(
            self.sh("stat -c %i-%y /etc/tarvel/TarvelPerimond/peripheral-settings.conf"), before)

    def test_a_type_that_no_led_can_show_is_told_of(self):
        self.assertEqual([line for line in self.act("disk USB 6") if "LED" in line],
                         ["<warn>  [Disk/USB] No storage LED can show disk type 6"])
        self.assertEqual([line for line in self.act("disk USB 5") if "LED" in line], [])


class IoStateTest(StorageTest):
    init = ("disk-bootenv EMMC emmc_enable", "disk EMMC 2")
    boot_environment = {"emmc_enable": "1"}
    EMMC = "Disk/EMMC"

    def test_a_slot_with_a_state_stays_on_the_bus_without_its_disk(self):
        self.insert("sda", slot="EMMC")
        self.assertEqual(self.bus_object(self.EMMC).get("IOState"), 2)
        signals = self.recorder(member="hotPlug")
        self.assertEqual(self.unplug("sda"), [])
        self.assertEqual(self.bus_object(self.EMMC).get("Device"), "")
        signals.wait_for(lambda: signals.events, "the signal")
        self.insert("sdb", slot="EMMC")
        self.assertEqual(self.bus_object(self.EMMC).get("Device"), "/dev/sdb")

    def test_a_change_is_for_the_next_start(self):
        self.insert("sda", slot="EMMC")
        with self.log("[Disk/EMMC]") as lines:
            self.bus_object(self.EMMC).SetIOState(1)
        self.assertEqual(lines, ["<info>  [Disk/EMMC] Get method call: SetIOState()",
                                 "<debug> [Disk/EMMC] Write bootenv: emmc_enable",
                                 "<info>  [Disk/EMMC] SetIOState() OK, io_state=1"])
        self.assertEqual(self.bus_object(self.EMMC).get("IOState"), 2)
        self.assertEqual(self.world.do("env", "emmc_enable").strip().split("=")[-1], "0")
        self.assertIn("IOState=false", settings(self))

    def test_a_slot_without_a_state_cannot_be_switched(self):
        self.act("disk USB 1")
        self.insert("sda")
        with self.log("[Disk/USB]") as lines, self.assertBusError(
                "PeripheralNotAvailable", "Cannot set io state for not applicable device"):
            self.bus_object(USB).SetIOState(1)
        self.assertEqual(lines, [
            "<info>  [Disk/USB] Get method call: SetIOState()",
            "<error> [Disk/USB] SetIOState() failed: Cannot set io state for not applicable device"
        ])

    def test_the_states_of_the_variable(self):
        for value, state, available, line in (
                ("1", 2, 1, None), ("0", 1, 0, "<debug> [Disk/S0] The interface is not enabled"),
                ("", 0, 1, None), ("yes", 0, 1, None)):
            with self.subTest(value):
                self.world.do("env", "slot_enable", value)
                lines = self.act("disk-bootenv S" + (value or "x") + " slot_enable",
                                 "disk-told S" + (value or "x"), "disk-export S" + (value or "x"))
                if line:
                    self.assertIn(line, lines)
                self.assertIn(f"<info>  [Probe] system 0 automatic 0 type 0 length 0 "
                              f"available {available}", lines)
                self.assertEqual(self.bus_object("Disk/S" + (value or "x")).get("IOState"), state)

    def test_a_plugin_may_answer_itself(self):
        lines = self.act("disk-state TOLD 1", "disk-export TOLD")
        self.assertIn("<info>  [Probe] asked for the state of Disk/TOLD with the same twice", lines)
        self.assertEqual(self.bus_object("Disk/TOLD").get("IOState"), 1)
        self.act("disk-state TOLD 9")
        self.assertEqual(self.bus_object("Disk/TOLD").get("IOState"), 0)
        self.assertIn("[Disk/TOLD]\nIOState=false\n", settings(self))

    def test_a_slot_may_be_enabled_without_a_variable(self):
        self.act("disk-state ALWAYS", "disk-export ALWAYS")
        self.assertEqual(self.bus_object("Disk/ALWAYS").get("IOState"), 2)
        self.act("disk-unexport ALWAYS")
        self.assertEqual(self.objects(), [])


class BurstTest(StorageTest):
    """Two disks come and go as fast as they can, and a third one in an occupied slot."""

    init = ("disk USB 1", "disk SD 3")
    rounds = 60

    def state(self):
        return (self.objects(), self.sh("ls /media"), self.mounts(),
                len(os.listdir(f"/proc/{self.daemon_pid}/fd")))

    def test_nothing_is_left_of_disks_that_come_and_go(self):
        self.insert("sdx", slot="SD")
        before = self.state()
        for number in range(self.rounds):
            for verb in (self.disk("sda"), self.partition("sda1"), self.partition("sda2"),
                         self.disk("sdy", slot="SD"), self.partition("sdy1", "sdy", slot="SD"),
                         self.disk("sdz"), self.partition("sdz1", "sdz"),
                         ("unplug", "block", "sda"), ("unplug", "block", "sdy"),
                         ("unplug", "block", "sdz")):
                self.world.do(*verb)
            if number % 20 == 19:
                self.act()
                self.assertEqual(self.state(), before)
        self.assertEqual(self.bus_object("Disk/SD").get("NumberOfPartitions"), 0)
        self.assertEqual(self.bus_object("Disk/SD").get("Device"), "/dev/sdx")
        self.assertEqual(len(self.insert("sda", "sda1")), 4)


class BoardTest(perimond.DaemonTest):
    """The slots of the simulated board's own plugin."""

    delivered_settings = True

    def plug(self, node, where, *keys):
        self.world.do("plug", "block", node, f"parent={where}", f"node={node}", *keys)

    def test_the_card_slot_is_there_without_a_card_and_the_socket_comes_with_its_stick(self):
        slots = [name for name in self.objects() if name.startswith("Disk/")]
        self.assertEqual(slots, ["Disk/SD"])
        self.assertEqual(self.bus_object("Disk/SD").get("IOState"), 2)
        self.plug("sda", "platform/usb/usb1/1-2", "devtype=disk")
        self.plug("sda1", "platform/usb/usb1/1-2/block/sda", "devtype=partition")
        perimond.wait_until(lambda: "Partition/USB_p1" in self.objects(), "the partition")
        self.assertIn(USB, self.objects())
        self.world.do("unplug", "block", "sda")
        perimond.wait_until(lambda: USB not in self.objects(), "all goes")
        self.assertNotIn("Partition/USB_p1", self.objects())

    def test_a_card_is_taken_when_its_table_is_known(self):
        self.plug("mmcblk1", "platform/mmc1", "devtype=disk")
        self.plug("mmcblk1p1", "platform/mmc1/block/mmcblk1", "devtype=partition")
        self.world.do("change", "block", "mmcblk1", "ID_PART_TABLE_TYPE=dos")
        self.world.do("change", "block", "mmcblk1p1", "add")
        perimond.wait_until(lambda: "Partition/SD_p1" in self.objects(), "the partition")
        self.assertEqual(self.bus_object("Disk/SD").get("Device"), "/dev/mmcblk1")

    def test_a_stick_in_another_socket_is_nobodys(self):
        self.plug("sda", "platform/usb/usb1/1-20", "devtype=disk")
        self.plug("sdb", "platform/usb/usb1/1-2", "devtype=disk")
        perimond.wait_until(lambda: USB in self.objects(), "the slot")
        self.assertEqual(self.bus_object(USB).get("Device"), "/dev/sdb")


class AssertionTest(StorageTest):
    pass


def _null_test(function, assertion):
    def test(self):
        self.assertAborts((f"zolv_{function}", assertion) if function != "disk_bind_bootenv"
                          else ("bind", assertion), f"storage-null {function}")
    return test


for _function, _assertion in (("disk_device_add", "self != NULL"),
                              ("disk_device_change", "self != NULL"),
                              ("disk_device_remove", "self != NULL"),
                              ("disk_bind_bootenv", "bootenv"),
                              ("partition_bind_disk", "disk != NULL")):
    setattr(AssertionTest, f"test_{_function}_needs_its_arguments",
            _null_test(_function, _assertion))


if __name__ == "__main__":
    perimond.main()
