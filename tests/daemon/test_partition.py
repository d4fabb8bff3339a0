"""Partitions: mounting, automatic mounting, the mount table, what is refused and what fails."""

import os

import perimond
from storage import StorageTest

P1 = "Partition/USB_p1"
POINT = "/media/USB_p1"
UUID = "01234567-89ab-cdef-0123-456789abcdef"


class PartitionTest(StorageTest):
    """A stick with one ext4 partition."""

    def setUp(self):
        super().setUp()
        self.filesystem("/dev/sda1")
        self.insert("sda", "sda1")

    @property
    def p1(self):
        return self.bus_object(P1)

    def p1_lines(self, call, *error):
        """The daemon's lines while the call runs, which is refused with that error if any."""
        with self.log() as lines:
            if error:
                with self.assertBusError(*error):
                    call()
            else:
                call()
        return [line for line in lines if P1 in line or "Running" in line or "option" in line
                or "umount" in line]

    def assertMounted(self, target=POINT, source="/dev/sda1", kind="tmpfs", obj=P1):
        self.assertIn((source, target), self.mounts())
        self.wait_for(obj, IsMounted=True, MountPoint=target, FilesystemType=kind)

    def assertUnmounted(self, obj=P1):
        self.wait_for(obj, IsMounted=False, MountPoint="", FilesystemType="", MapperDevice="")
        self.assertEqual(self.mounts(), [])


class MountTest(PartitionTest):
    def test_a_partition_shows_its_device_and_its_disk(self):
        self.assertEqual([self.p1.get(name) for name in (
            "Device", "Disk", "IsMounted", "FilesystemType", "MountPoint", "MapperDevice")],
            ["/dev/sda1", "USB", False, "", "", ""])

    def test_it_is_mounted_below_media(self):
        self.assertEqual(self.p1_lines(self.p1.Mount), [
            f"<info>  [{P1}] Get method call: Mount()",
            f'<debug> Running "mount /dev/sda1 {POINT}"',
            f"<info>  [{P1}] Mount() OK"])
        self.assertTrue(self.p1.get("IsMounted"))
        self.assertMounted()
        self.assertEqual(self.noted("mount.ext4"), [f"/dev/sda1 {POINT} -o rw"])

    def test_the_mount_point_is_made_for_everybody_to_enter_and_goes_when_the_mount_fails(self):
        self.call("mount.ext4", f"stat -c %a {POINT} >/run/mode; exit 1")
        self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", "Mount failed")
        self.assertEqual(self.world.read("/run/mode"), "755\n")
        self.assertFalse(os.path.exists(self.world.path(POINT)))

    def test_it_is_unmounted_and_the_mount_point_goes(self):
        self.p1.Mount()
        self.assertMounted()
        self.assertEqual(self.p1_lines(self.p1.Unmount), [
            f"<info>  [{P1}] Get method call: Unmount()",
            f'<debug> Running "umount {POINT}"',
            f"<info>  [{P1}] Unmount() OK"])
        self.assertUnmounted()
        self.assertFalse(os.path.exists(self.world.path(POINT)))

    def test_it_is_unmounted_at_once_after_mounting(self):
        for _ in range(5):
            self.p1.Mount()
            self.p1.Unmount()
        self.assertUnmounted()

    def test_a_mounted_partition_is_not_mounted_again(self):
        self.p1.Mount()
        self.assertMounted()
        text = f"Partition is already mounted at '{POINT}'"
        self.assertEqual(self.p1_lines(self.p1.Mount, "OperationNotPermitted", text), [
            f"<info>  [{P1}] Get method call: Mount()", f"<error> [{P1}] Mount() failed: {text}"])

    def test_one_that_is_not_mounted_is_not_unmounted(self):
        text = "Partition is already unmounted at ''"
        self.assertEqual(self.p1_lines(self.p1.Unmount, "OperationNotPermitted", text), [
            f"<info>  [{P1}] Get method call: Unmount()",
            f"<error> [{P1}] Unmount() failed: {text}"])

    def test_a_partition_that_is_in_use_stays_mounted(self):
        self.p1.Mount()
        self.assertMounted()
        user = self.world.popen("sh", "-c", f"cd {POINT} && echo there && sleep 100")
        user.stdout.readline()
        self.p1_lines(self.p1.Unmount, "ExternalLibraryFailure", "Unmount failed")
        self.assertMounted()
        user.kill()
        user.wait()
        self.sh(f"umount -i -l {POINT}")
        self.assertUnmounted()

    def test_uuid_and_failures_of_the_probe(self):
        with self.log(P1) as lines:
            self.assertEqual(self.p1.GetUUID(), UUID)
        self.assertEqual(lines, [f"<debug> [{P1}] Get method call: GetUUID()",
                                 f"<debug> [{P1}] GetUUID() OK"])
        for function, text in (("blkid_new_probe_from_filename", "Failed to create blkid probe"),
                               ("blkid_do_safeprobe", "Failed to probe device"),
                               ("blkid_probe_lookup_value", "Failed to lookup value")):
            self.refuse(function)
            with self.subTest(function):
                self.assertEqual(
                    self.p1_lines(self.p1.GetUUID, "ExternalLibraryFailure", text),
                    [f"<debug> [{P1}] Get method call: GetUUID()",
                     f"<debug> [{P1}] GetUUID() failed: {text}"])
                self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", text)
            self.allow(function)
        self.p1.Mount()

    def test_a_device_that_holds_nothing_is_not_mounted(self):
        self.sh("truncate -s 0 /run/disks/dev/sda1; truncate -s 1M /run/disks/dev/sda1")
        self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", "Failed to probe device")
        self.p1_lines(self.p1.GetUUID, "ExternalLibraryFailure", "Failed to probe device")

    def test_each_step_of_mounting_has_its_failure(self):
        self.refuse("mnt_new_context")
        self.p1_lines(self.p1.Mount, "ExternalLibraryFailure",
                      "Failed to create new libmount context")
        self.assertFalse(os.path.exists(self.world.path(POINT)))
        self.allow("mnt_new_context")
        for status in (1, 32, 255):
            self.call("mount.ext4", f"exit {status}")
            self.assertEqual(
                self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", "Mount failed")[1:],
                [f'<debug> Running "mount /dev/sda1 {POINT}"',
                 f"<error> [{P1}] Mount() failed: Mount failed"])
            self.assertFalse(self.p1.get("IsMounted"))
        self.call("mount.ext4", "kill -9 $$")
        self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", "Mount failed")
        self.allow("mount.ext4")
        self.p1.Mount()
        self.assertMounted()

    def test_each_step_of_unmounting_has_its_failure(self):
        self.p1.Mount()
        self.assertMounted()
        self.refuse("mnt_new_context")
        self.p1_lines(self.p1.Unmount, "ExternalLibraryFailure",
                      "Create new libmount context failed")
        self.allow("mnt_new_context")
        self.call("umount.tmpfs", "exit 3")
        self.assertEqual(
            self.p1_lines(self.p1.Unmount, "ExternalLibraryFailure", "Unmount failed")[1:],
            [f'<debug> Running "umount {POINT}"',
             f"<error> [{P1}] Unmount() failed: Unmount failed"])
        self.assertTrue(self.p1.get("IsMounted"))
        self.allow("umount.tmpfs")
        self.p1.Unmount()
        self.assertUnmounted()

    def test_children_are_not_waited_for_after_a_mount_either(self):
        self.p1.Mount()
        self.act("child")
        perimond.wait_until(lambda: "Z" not in self.sh(
            "cat /proc/[0-9]*/stat 2>/dev/null | cut -d' ' -f3"), "no child is left")

    def test_the_system_disk_is_left_alone(self):
        self.act("disk-system USB 1")
        self.assertEqual(
            self.p1_lines(self.p1.Mount, "OperationNotPermitted",
                          "Mount operation on system disk is not permitted")[-1],
            f"<error> [{P1}] Mount() failed: Mount operation on system disk is not permitted")
        self.p1_lines(self.p1.Unmount, "OperationNotPermitted",
                      "Unmount operation on system disk is not permitted")
        text = "LUKS initialization process failed: operation on system disk is not permitted"
        self.assertEqual(
            self.p1_lines(lambda: self.p1.InitializeLUKS("x"), "OperationNotPermitted", text),
            [f"<info>  [{P1}] Get method call: InitializeLUKS()",
             f"<error> [{P1}] InitializeLUKS() failed: {text}"])
        self.assertEqual(
            self.p1_lines(lambda: self.p1.RemapLUKS("x"), "OperationNotPermitted", text),
            [f"<info>  [{P1}] Get method call: RemapLUKS()",
             f"<error> [{P1}] RemapLUKS() failed: {text}"])
        self.assertEqual(self.p1.GetUUID(), UUID)
        self.assertEqual(self.calls("crypt_init", "mnt_new_context"), [])


class MountPointTest(PartitionTest):
    FAILURE = ("SystemLevelFailure", "Failed to create default mountpoint directory")

    def test_a_link_in_its_place_is_not_followed(self):
        self.sh(f"mkdir /run/elsewhere; ln -s /run/elsewhere {POINT}")
        self.p1_lines(self.p1.Mount, *self.FAILURE)
        self.sh(f"rm {POINT}; ln -s /nowhere {POINT}")
        self.p1_lines(self.p1.Mount, *self.FAILURE)
        self.assertEqual(self.mounts(), [])

    def test_a_file_in_its_place_stays(self):
        self.sh(f"echo mine >{POINT}")
        self.p1_lines(self.p1.Mount, *self.FAILURE)
        self.assertEqual(self.world.read(POINT), "mine\n")

    def test_where_nothing_can_be_made_nothing_is_mounted(self):
        self.sh("mount -o remount,ro /media")
        self.p1_lines(self.p1.Mount, *self.FAILURE)

    def test_what_somebody_has_in_the_directory_is_there_again_afterwards(self):
        self.sh(f"mkdir {POINT}; echo mine >{POINT}/file")
        self.p1.Mount()
        self.assertMounted()
        self.assertFalse(os.path.exists(self.world.path(f"{POINT}/file")))
        self.p1.Unmount()
        self.assertUnmounted()
        self.assertEqual(self.world.read(f"{POINT}/file"), "mine\n")

    def test_what_is_mounted_there_already_is_there_again_afterwards(self):
        self.sh(f"mkdir {POINT}; mount -t tmpfs /dev/other {POINT}; touch {POINT}/theirs")
        self.p1.Mount()
        self.wait_for(P1, MountPoint=POINT)
        self.p1.Unmount()
        self.wait_for(P1, IsMounted=False)
        self.assertEqual(self.mounts(), [("/dev/other", POINT)])

    def test_what_somebody_mounts_over_it_is_not_taken_away(self):
        self.p1.Mount()
        self.assertMounted()
        self.sh(f"mount -t tmpfs /dev/other {POINT}")
        self.p1_lines(self.p1.Unmount, "ExternalLibraryFailure", "Unmount failed")
        self.assertEqual(self.mounts(), [("/dev/sda1", POINT), ("/dev/other", POINT)])
        self.sh(f"umount {POINT}")
        self.p1.Unmount()
        self.assertUnmounted()


class OptionTest(PartitionTest):
    starts = True

    def mounted_with(self, value):
        self.stop_daemon()
        self.start_daemon(MOUNT_OPTION=value)
        with self.log("mount_option") as lines:
            self.p1.Mount()
        options = self.noted("mount.ext4")[-1].partition("-o ")[2]
        calls = self.calls("mnt_context_set_mflags")
        self.p1.Unmount()
        return set(options.split(",")) - {"rw"}, lines, calls

    def test_each_value_has_its_flags_and_any_other_none(self):
        for value, flags in (("noexec", {"noexec"}), ("nosuid", {"nosuid"}), ("nodev", {"nodev"}),
                             ("secure", {"noexec", "nosuid", "nodev"}), ("ro", set()),
                             ("SECURE", set()), ("", set()), ("noexec,nodev", set())):
            with self.subTest(value):
                found, lines, _ = self.mounted_with(value)
                self.assertEqual(found, flags)
                self.assertEqual(lines[0], f"<debug> mount_option={value}")

    def test_without_it_no_flag_is_set(self):
        found, lines, calls = self.mounted_with(None)
        self.assertEqual((found, lines, calls), (set(), [], []))

    def test_flags_that_cannot_be_set_are_a_failure(self):
        self.stop_daemon()
        self.start_daemon(MOUNT_OPTION="secure")
        self.refuse("mnt_context_set_mflags")
        self.p1_lines(self.p1.Mount, "ExternalLibraryFailure", "Failed to set mount option")
        self.assertEqual(self.noted("mount.ext4"), [])


class TableTest(PartitionTest):
    def test_a_mount_by_somebody_else_is_shown_and_unmounted_where_it_is(self):
        self.sh("mkdir /run/there; mount -t tmpfs /dev/sda1 /run/there")
        self.assertMounted("/run/there")
        self.p1_lines(self.p1.Mount, "OperationNotPermitted",
                      "Partition is already mounted at '/run/there'")
        self.p1.Unmount()
        self.assertUnmounted()
        self.assertTrue(os.path.isdir(self.world.path("/run/there")))

    def test_what_is_mounted_anew_is_unmounted_where_it_is_now(self):
        self.sh("mkdir /run/there; mount -t tmpfs /dev/sda1 /run/there")
        self.assertMounted("/run/there")
        # Within one turn of the main loop, so that the table's changes are not known in between.
        self.act("unmount USB_p1 0", "mount USB_p1", "unmount USB_p1 0")
        self.assertUnmounted()

    def test_of_several_mounts_the_first_is_shown(self):
        self.sh("mkdir /run/1 /run/2; mount -t tmpfs /dev/sda1 /run/1;"
                "mount -t tmpfs /dev/sda1 /run/2")
        self.assertMounted("/run/1")
        self.p1.Unmount()
        self.assertMounted("/run/2")

    def test_an_unmount_by_somebody_else_is_seen(self):
        self.p1.Mount()
        self.assertMounted()
        self.sh(f"umount {POINT}")
        self.assertUnmounted()
        self.p1.Mount()
        self.assertMounted()

    def test_a_mount_that_is_moved_is_followed(self):
        self.p1.Mount()
        self.assertMounted()
        self.sh(f"mkdir /run/moved; mount --make-private /; mount --make-private /media; "
                f"mount --make-private /run; mount --move {POINT} /run/moved")
        self.assertMounted("/run/moved")

    def test_names_that_are_no_text_are_shown_made_fit_and_unmounted_as_they_are(self):
        self.sh(r'''d=$(printf '/run/a\377b\tc d'); mkdir "$d"; mount -t tmpfs /dev/sda1 "$d"''')
        self.wait_for(P1, MountPoint="/run/a\ufffdb\\tc d")
        self.p1.Unmount()
        self.assertUnmounted()

    def test_a_device_whose_name_begins_alike_is_another(self):
        self.sh("mkdir /run/there; mount -t tmpfs /dev/sda11 /run/there")
        self.act()
        self.assertFalse(self.p1.get("IsMounted"))

    def test_a_table_that_cannot_be_had_changes_nothing(self):
        self.p1.Mount()
        self.assertMounted()
        self.refuse("mnt_new_table")
        with self.log() as lines:
            self.act("update USB_p1")
        self.assertIn(f"<warn>  [{P1}] Update mount info failed", lines)
        self.assertTrue(self.p1.get("IsMounted"))
        self.allow("mnt_new_table")

    def test_the_table_is_read_once_for_all_partitions(self):
        self.lines(*(self.partition(f"sda{number}") for number in range(2, 9)))
        self.sh("mkdir /run/there")
        self.act()
        before = len(self.calls("mnt_new_table"))
        with self.log("mount table changed") as lines:
            self.sh("mount -t tmpfs /dev/sda3 /run/there")
            self.wait_for("Partition/USB_p3", IsMounted=True)
        self.assertEqual(len(self.calls("mnt_new_table")) - before, len(lines))
        self.assertEqual(len(lines), 1)

    def test_without_partitions_the_table_is_not_read(self):
        self.unplug("sda")
        self.act()
        before = self.calls("mnt_new_table")
        self.sh("mkdir /run/there; mount -t tmpfs none /run/there")
        self.wait_for_log("<info>  [Manager] mount table changed")
        self.act()
        self.assertEqual(self.calls("mnt_new_table"), before)


class RemovalTest(PartitionTest):
    def mount(self, automatic=False):
        self.p1.Mount()
        self.assertMounted()
        if automatic:
            self.bus_object("Disk/USB").SetAutoMount(True)

    def test_a_stick_that_is_pulled_out_takes_its_mount_along(self):
        self.mount()
        lines = self.unplug("sda")
        self.assertIn(f'<debug> Running "umount {POINT}"', lines)
        self.assertEqual(self.mounts(), [])
        self.assertFalse(os.path.exists(self.world.path(POINT)))
        self.assertEqual(self.objects(), [])

    def test_one_that_was_mounted_a_moment_ago_too(self):
        self.p1.Mount()
        self.unplug("sda")
        self.assertEqual(self.mounts(), [])

    def test_a_partition_in_use_stays_mounted_and_is_told_of(self):
        self.mount(automatic=True)
        user = self.world.popen("sh", "-c", f"cd {POINT} && echo there && sleep 100")
        user.stdout.readline()
        self.assertIn(f"<warn>  [{P1}] Left behind mounted at '{POINT}': Unmount failed",
                      self.unplug("sda"))
        self.assertEqual(self.mounts(), [("/dev/sda1", POINT)])
        user.kill()
        user.wait()

    def test_the_end_of_the_daemon_unmounts_too(self):
        self.mount()
        self.stop_daemon()
        self.assertEqual(self.mounts(), [])

    def test_nobody_unmounts_the_system_disk_at_the_end(self):
        self.mount()
        self.act("disk-system USB 1")
        self.stop_daemon()
        self.assertEqual(self.mounts(), [("/dev/sda1", POINT)])

    def test_a_failing_unmount_of_a_plugin_tells_its_error(self):
        self.assertEqual(self.told("unmount USB_p1 1"),
                         ["unmount USB_p1: zolv_core_error_quark 3 "
                          "Partition is already unmounted at ''"])


class LazyTest(RemovalTest):
    storage_environment = {"LAZY_UNMOUNT": "true"}

    def test_a_partition_in_use_stays_mounted_and_is_told_of(self):
        """Automatic mounting and the variable together make it lazy."""
        self.call("umount.tmpfs", 'exec umount -i -l "$1"')
        self.mount(automatic=True)
        user = self.world.popen("sh", "-c", f"cd {POINT} && echo there && sleep 100")
        user.stdout.readline()
        lines = self.unplug("sda")
        self.assertEqual([line for line in lines if "mount" in line],
                         ["<debug> Enable lazy umount", f'<debug> Running "umount {POINT}"'])
        self.assertEqual(self.noted("umount.tmpfs")[-1], f"{POINT} -l")
        self.assertEqual(self.mounts(), [])
        user.kill()
        user.wait()

    def test_without_automatic_mounting_it_is_not_lazy(self):
        self.mount()
        self.assertNotIn("<debug> Enable lazy umount", self.unplug("sda"))

    def test_the_method_is_never_lazy(self):
        self.mount(automatic=True)
        self.assertNotIn("<debug> Enable lazy umount", self.p1_lines(self.p1.Unmount))


class NotLazyTest(PartitionTest):
    storage_environment = {"LAZY_UNMOUNT": "TRUE"}

    def test_only_the_exact_word_makes_it_lazy(self):
        self.p1.Mount()
        self.assertMounted()
        self.bus_object("Disk/USB").SetAutoMount(True)
        self.assertNotIn("<debug> Enable lazy umount", self.unplug("sda"))


class AutomaticTest(StorageTest):
    def setUp(self):
        super().setUp()
        self.filesystem("/dev/sda1")
        self.insert("sda")
        self.bus_object("Disk/USB").SetAutoMount(True)

    def test_a_partition_that_comes_is_mounted_before_it_is_on_the_bus(self):
        self.assertEqual(self.lines(self.partition("sda1")), [
            f'<debug> Running "mount /dev/sda1 {POINT}"',
            f"<info>  [{P1}] Mount() OK",
            f"<info>  [{P1}] Exported at '/com/tarvel/Perimond/{P1}'",
            "<debug> [Disk/USB] Partition1=/dev/sda1"])
        self.wait_for(P1, IsMounted=True, MountPoint=POINT)

    def test_a_failure_is_only_logged(self):
        self.call("mount.ext4", "exit 1")
        self.assertIn(f"<error> [{P1}] Mount() failed: Mount failed",
                      self.lines(self.partition("sda1")))
        self.assertFalse(self.bus_object(P1).get("IsMounted"))

    def test_the_system_disk_is_refused(self):
        self.act("disk-system USB 1")
        self.assertIn(f"<error> [{P1}] Mount() failed: "
                      "Mount operation on system disk is not permitted",
                      self.lines(self.partition("sda1")))
        self.assertEqual(self.mounts(), [])

    def test_one_that_is_mounted_already_is_left_as_it_is(self):
        self.sh("mkdir /run/there; mount -t tmpfs /dev/sda1 /run/there")
        self.assertIn(f"<error> [{P1}] Mount() failed: "
                      "Partition is already mounted at '/run/there'",
                      self.lines(self.partition("sda1")))
        self.assertEqual(self.bus_object(P1).get("MountPoint"), "/run/there")

    def test_partitions_are_mounted_at_a_start_too(self):
        self.lines(self.partition("sda1"))
        self.stop_daemon()
        self.assertEqual(self.mounts(), [])
        self.start_daemon()
        self.wait_for(P1, IsMounted=True, MountPoint=POINT)

    def test_insertions_and_removals_leave_nothing_behind(self):
        def state():
            return (len(os.listdir(f"/proc/{self.daemon_pid}/fd")), self.mounts(), self.objects())

        before = state()
        for _ in range(40):
            self.world.do(*self.partition("sda1"))
            self.world.do("unplug", "block", "sda1")
        self.act()
        self.assertEqual(state(), before)
        self.assertEqual(self.sh("ls /media"), "")


class LedTest(StorageTest):
    """The storage LEDs follow what is mounted."""

    init = ("gpio U 10 0", "gpio S 11 0", "ptn 2 LED/U 1 LED/S 2", "disk USB 1", "disk SD 2",
            "disk ODD 6", "disk SECOND 1")

    def states(self):
        return [self.bus_object(led).GetState() for led in ("LED/U", "LED/S")]

    def wait_for_leds(self, *states):
        perimond.wait_until(lambda: self.states() == list(states), f"the LEDs show {states}")

    def prepare(self):
        super().prepare()
        for node in ("sda1", "sdb1", "sdc1", "mmcblk1p1", "mmcblk1p2"):
            self.filesystem(f"/dev/{node}")

    def test_an_led_is_lit_while_a_partition_of_its_kind_is_mounted(self):
        self.insert("sda", "sda1")
        self.insert("mmcblk1", "mmcblk1p1", "mmcblk1p2", slot="SD")
        self.bus_object("LED/U").SetState(1)
        self.bus_object("Partition/SD_p2").Mount()
        self.wait_for_leds(0, 1)
        self.bus_object(P1).Mount()
        self.wait_for_leds(1, 1)
        self.bus_object("Partition/SD_p2").Unmount()
        self.wait_for_leds(1, 0)

    def test_one_that_is_mounted_outweighs_the_others_whatever_their_order(self):
        self.insert("sda", "sda1")
        self.insert("sdb", "sdb1", slot="SECOND")
        for obj in ("Partition/SECOND_p1", P1):
            self.bus_object(obj).Mount()
            self.wait_for_leds(1, 0)
            self.bus_object(obj).Unmount()
            self.wait_for_leds(0, 0)

    def test_a_kind_that_has_gone_leaves_its_led_as_it_is(self):
        self.insert("sda", "sda1")
        self.bus_object(P1).Mount()
        self.wait_for_leds(1, 0)
        self.unplug("sda")
        self.sh("mkdir /run/there; mount -t tmpfs none /run/there")
        self.act()
        self.assertEqual(self.states(), [1, 0])

    def test_a_type_above_5_reaches_no_led(self):
        self.insert("sdc", "sdc1", slot="ODD")
        self.bus_object("Partition/ODD_p1").Mount()
        self.wait_for("Partition/ODD_p1", MountPoint="/media/ODD_p1")
        self.assertEqual(self.states(), [0, 0])
        self.assertEqual(self.told("mount-state ODD_p1"), ["mount state 1 of type 6"])

    def test_a_partition_without_a_disk_counts_nowhere(self):
        self.world.do("plug", "block", "sdc1", "node=sdc1", "devtype=partition")
        self.act("partition LONE /dev/sdc1")
        self.assertEqual(self.told("mount-state LONE"), ["mount state 0 of type 77"])
        self.bus_object("Partition/LONE").Mount()
        self.wait_for("Partition/LONE", MountPoint="/media/LONE")
        self.assertEqual(self.states(), [0, 0])


if __name__ == "__main__":
    perimond.main()
