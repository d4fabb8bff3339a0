"""Encrypted partitions: making, opening, adopting and closing LUKS volumes, and what may not happen
to anybody's data on the way."""

import os
import re

import perimond
from gi.repository import GLib
from storage import StorageTest

P1 = "Partition/USB_p1"
POINT = "/media/USB_p1"
MAPPER = "sda1_encrypted"
MAPPED = f"/dev/mapper/{MAPPER}"
SECRET = "correct horse 7 battery"
KEYS = "/etc/tarvel/TarvelPerimond/luks"
FAILED = "ExternalLibraryFailure"


class LuksTest(StorageTest):
    """A stick with one partition that holds nothing."""

    def setUp(self):
        super().setUp()
        self.blank("/dev/sda1")
        self.insert("sda", "sda1")

    @property
    def p1(self):
        return self.bus_object(P1)

    def p1_lines(self, call, *error):
        with self.log(f"[{P1}]") as lines:
            if error:
                with self.assertBusError(*error):
                    call()
            else:
                call()
        return [line.partition("] ")[2] if "<info>" in line else line for line in lines]

    def volume(self, secret=SECRET):
        """Makes a volume of the partition; its UUID."""
        self.p1.InitializeLUKS(secret)
        return self.p1.GetUUID()

    def keys(self):
        return sorted(self.sh(f"ls {KEYS} 2>/dev/null || true").split())

    def key(self, uuid):
        return self.world.read(f"{KEYS}/{uuid}")

    def mappings(self):
        return self.sh("ls /run/mappings").split()


class InitializeTest(LuksTest):
    def test_a_volume_is_made_and_its_passphrase_stored(self):
        self.assertEqual(self.p1_lines(lambda: self.p1.InitializeLUKS(SECRET)), [
            "Get method call: InitializeLUKS()", "LUKS initialization process OK",
            "InitializeLUKS() OK"])
        uuid = self.p1.GetUUID()
        self.assertRegex(uuid, "^[0-9a-f-]{36}$")
        self.assertEqual(self.calls("crypt_format", "crypt_keyslot_add_by_volume_key"),
                         ["crypt_format /dev/sda1 LUKS2 aes xts-plain64 - - 64 -",
                          "crypt_keyslot_add_by_volume_key -1"])
        self.assertEqual(self.key(uuid), SECRET)
        self.assertEqual(self.sh(f"stat -c %a {KEYS}/{uuid}").strip(), "640")
        self.assertEqual(self.mappings(), [])
        self.assertFalse(self.p1.get("IsMounted"))

    def test_each_step_has_its_failure(self):
        for function, text in (("crypt_init", "cannot initialize LUKS"),
                               ("crypt_format", "cannot format partition with LUKS"),
                               ("crypt_keyslot_add_by_volume_key", "cannot add keyslot")):
            self.refuse(function)
            text = f"LUKS initialization process failed: {text}"
            with self.subTest(function):
                self.assertEqual(
                    self.p1_lines(lambda: self.p1.InitializeLUKS(SECRET), FAILED, text),
                    ["Get method call: InitializeLUKS()",
                     f"<error> [{P1}] InitializeLUKS() failed: {text}"])
            self.allow(function)
        self.assertEqual(self.keys(), [])
        self.volume()

    def test_a_mounted_partition_is_unmounted_made_a_volume_and_mounted_again(self):
        self.filesystem("/dev/sda1")
        self.sh("truncate -s 20M /run/disks/dev/sda1")
        self.p1.Mount()
        self.wait_for(P1, MountPoint=POINT)
        with self.log() as lines:
            self.p1.InitializeLUKS(SECRET)
        steps = [line for line in lines if "Running" in line or "LUKS" in line.split("] ")[-1][:4]
                 or "LUKS_" in line]
        self.assertEqual(steps, [
            f'<debug> Running "umount {POINT}"',
            f"<info>  [{P1}] LUKS initialization process OK",
            f"<info>  [{P1}] LUKS open process OK",
            "<warn>  LUKS_FILESYSTEM_FORMAT is not set, using ext4 as default",
            f'<debug> Running "mount {MAPPED} {POINT}"'])
        self.wait_for(P1, IsMounted=True, MapperDevice=MAPPER, MountPoint=POINT)
        self.assertEqual(self.noted("mkfs.ext4"), [f"-F {MAPPED}"])

    def test_a_mounted_partition_that_cannot_be_unmounted_stays_as_it_is(self):
        self.filesystem("/dev/sda1")
        self.p1.Mount()
        self.wait_for(P1, MountPoint=POINT)
        self.call("umount.tmpfs", "exit 1")
        self.p1_lines(lambda: self.p1.InitializeLUKS(SECRET), FAILED, "Unmount failed")
        self.assertEqual(self.calls("crypt_init"), [])
        self.assertTrue(self.p1.get("IsMounted"))

    def test_a_key_that_cannot_be_stored_leaves_a_volume_that_its_passphrase_opens(self):
        self.sh(f"mkdir -p {KEYS}; mount -t tmpfs -o ro none {KEYS}")
        with self.log("[CONFIG/LUKS]") as lines:
            self.p1.InitializeLUKS(SECRET)
        self.assertIn("Failed to write luks file", lines[0])
        self.p1_lines(self.p1.Mount, "OperationFailure",
                      "LUKS open process failed: cannot get passphrase from config")
        self.sh(f"umount {KEYS}")
        self.p1.RemapLUKS(SECRET)
        self.p1.Mount()
        self.wait_for(P1, MapperDevice=MAPPER)


class OpenTest(LuksTest):
    def setUp(self):
        super().setUp()
        self.uuid = self.volume()

    def mount(self):
        self.p1.Mount()
        self.wait_for(P1, IsMounted=True, MountPoint=POINT, MapperDevice=MAPPER)

    def test_a_new_volume_gets_a_file_system_and_is_mounted(self):
        self.assertEqual(self.p1_lines(self.p1.Mount), [
            "Get method call: Mount()", "LUKS open process OK", "Mount() OK"])
        self.wait_for(P1, IsMounted=True, MountPoint=POINT, MapperDevice=MAPPER,
                      FilesystemType="tmpfs")
        self.assertEqual(self.mounts(), [(MAPPED, POINT)])
        self.assertEqual(self.noted("mkfs.ext4"), [f"-F {MAPPED}"])
        self.assertEqual(self.calls("crypt_activate_by_passphrase")[-1],
                         f"crypt_activate_by_passphrase {MAPPER} -1 0")

    def test_unmounting_closes_it(self):
        self.mount()
        self.assertEqual(self.p1_lines(self.p1.Unmount), [
            "Get method call: Unmount()", "LUKS close process OK", "Unmount() OK"])
        self.wait_for(P1, IsMounted=False, MapperDevice="")
        self.assertEqual(self.mappings(), [])

    def test_a_volume_with_a_file_system_is_not_formatted_again(self):
        self.mount()
        self.p1.Unmount()
        self.mount()
        self.assertEqual(len(self.noted("mkfs.ext4")), 1)

    def test_each_step_of_opening_has_its_failure(self):
        for function, text in (("crypt_init", "cannot initialize LUKS"),
                               ("crypt_load", "cannot load LUKS header"),
                               ("crypt_activate_by_passphrase", "cannot activate LUKS")):
            self.refuse(function)
            text = f"LUKS open process failed: {text}"
            with self.subTest(function):
                self.assertEqual(self.p1_lines(self.p1.Mount, FAILED, text),
                                 ["Get method call: Mount()",
                                  f"<error> [{P1}] Mount() failed: {text}"])
            self.allow(function)
        self.assertEqual((self.mappings(), self.mounts()), ([], []))

    def test_without_a_stored_passphrase_it_stays_closed(self):
        self.sh(f"rm {KEYS}/{self.uuid}")
        text = "LUKS open process failed: cannot get passphrase from config"
        with self.log("[CONFIG/LUKS]") as lines:
            self.p1_lines(self.p1.Mount, "OperationFailure", text)
        self.assertEqual(lines,
                         [f"<warn>  [CONFIG/LUKS] luks file not exist: {KEYS}/{self.uuid}"])

    def test_a_stored_passphrase_that_does_not_open_it_is_a_failure(self):
        self.sh(f"printf wrong >{KEYS}/{self.uuid}")
        self.p1_lines(self.p1.Mount, FAILED, "LUKS open process failed: cannot activate LUKS")

    def test_a_uuid_that_is_a_path_leads_nowhere(self):
        self.sh(r"echo secret >/etc/tarvel/TarvelPerimond/secret; echo ../secret >/run/calls/uuid")
        self.p1_lines(self.p1.Mount, "OperationFailure",
                      "LUKS open process failed: cannot get passphrase from config")
        self.p1.RemapLUKS(SECRET)
        self.assertEqual(self.sh("cat /etc/tarvel/TarvelPerimond/secret"), "secret\n")
        self.assertEqual(self.keys(), [self.uuid])

    def test_a_uuid_that_is_no_text_is_told_made_fit(self):
        # The head of an older volume: magic, version, and at 168 the UUID.
        self.sh(r"""f=/run/disks/dev/sda1; rm $f; truncate -s 1M $f
                printf 'LUKS\272\276\000\001' | dd of=$f conv=notrunc status=none
                printf 'a\377b\tc/../d' | dd of=$f bs=1 seek=168 conv=notrunc status=none""")
        self.assertEqual(self.p1.GetUUID(), "a\ufffdb\\tc/../d")
        self.p1_lines(self.p1.Mount, FAILED, "LUKS open process failed: cannot load LUKS header")

    def test_a_volume_that_is_open_already_is_used_as_it_is(self):
        for busy in (False, True):
            self.mount()
            self.sh(f"umount {POINT}")
            self.wait_for(P1, IsMounted=False, MapperDevice="")
            if busy:
                self.refuse("crypt_status")
            before = len(self.calls("crypt_activate_by_passphrase"))
            self.assertEqual(self.p1_lines(self.p1.Mount),
                             ["Get method call: Mount()", "Mount() OK"])
            self.allow("crypt_status")
            self.wait_for(P1, MapperDevice=MAPPER)
            self.assertEqual(len(self.calls("crypt_activate_by_passphrase")), before)
            self.p1.Unmount()
            self.assertEqual(self.mappings(), [])

    def test_each_step_of_closing_has_its_failure(self):
        for function, text in (("crypt_init_by_name", "cannot initialize LUKS"),
                               ("crypt_deactivate", "cannot deactivate LUKS")):
            self.mount()
            self.refuse(function)
            text = f"LUKS close process failed: {text}"
            with self.subTest(function):
                self.assertEqual(self.p1_lines(self.p1.Unmount, FAILED, text),
                                 ["Get method call: Unmount()",
                                  f"<error> [{P1}] Unmount() failed: {text}"])
            self.allow(function)
            self.wait_for(P1, IsMounted=False)

    def test_a_mapping_that_is_gone_already_is_closed(self):
        self.mount()
        self.refuse("crypt_status")
        self.sh("touch /run/calls/inactive")
        self.assertEqual(self.p1_lines(self.p1.Unmount),
                         ["Get method call: Unmount()", "Unmount() OK"])
        self.assertEqual(self.calls("crypt_deactivate"), [])

    def test_a_mount_that_fails_leaves_no_volume_open(self):
        self.call("mount.ext4", "exit 1")
        self.assertEqual(self.p1_lines(self.p1.Mount, FAILED, "Mount failed"), [
            "Get method call: Mount()", "LUKS open process OK", "LUKS close process OK",
            f"<error> [{P1}] Mount() failed: Mount failed"])
        self.assertEqual(self.mappings(), [])
        self.assertEqual(self.p1.get("MapperDevice"), "")

    def test_a_stick_that_is_pulled_out_takes_mount_and_mapping_along(self):
        self.mount()
        self.unplug("sda")
        self.assertEqual((self.mounts(), self.mappings(), self.objects()), ([], [], []))

    def test_a_stick_whose_volume_somebody_unmounted_takes_the_mapping_along(self):
        self.mount()
        self.sh(f"umount {POINT}")
        self.wait_for(P1, IsMounted=False)
        self.unplug("sda")
        self.assertEqual(self.mappings(), [])

    def test_it_comes_up_by_itself_after_a_restart(self):
        self.bus_object("Disk/USB").SetAutoMount(True)
        self.mount()
        self.kill_daemon()
        self.sh(f"umount {POINT}; rm /run/mappings/* /dev/mapper/sda* /run/disks/dev/mapper/*")
        self.start_daemon()
        self.wait_for(P1, IsMounted=True, MapperDevice=MAPPER)
        self.assertEqual(len(self.noted("mkfs.ext4")), 1)

    def test_what_was_mounted_before_a_restart_is_known_and_closed(self):
        self.mount()
        self.kill_daemon()
        self.start_daemon()
        self.wait_for(P1, IsMounted=True, MapperDevice=MAPPER)
        self.p1.Unmount()
        self.assertEqual(self.mappings(), [])


class RemapTest(LuksTest):
    def setUp(self):
        super().setUp()
        self.uuid = self.volume()
        self.sh(f"rm {KEYS}/{self.uuid}")

    def test_a_passphrase_that_opens_the_volume_is_stored(self):
        self.assertEqual(self.p1_lines(lambda: self.p1.RemapLUKS(SECRET)), [
            "Get method call: RemapLUKS()", "LUKS changekey process OK", "RemapLUKS() OK"])
        self.assertEqual(self.key(self.uuid), SECRET)
        self.assertEqual(self.mappings(), [])
        self.assertEqual(self.p1.get("MapperDevice"), "")

    def test_a_wrong_one_is_not(self):
        text = "LUKS changekey process failed: cannot activate LUKS"
        self.assertEqual(self.p1_lines(lambda: self.p1.RemapLUKS("wrong"), FAILED, text), [
            "Get method call: RemapLUKS()", f"<error> [{P1}] RemapLUKS() failed: {text}"])
        self.assertEqual(self.keys(), [])

    def test_each_step_has_its_failure(self):
        for function, text, keys in (
                ("crypt_init", "cannot initialize LUKS", []),
                ("crypt_load", "cannot load LUKS header", []),
                ("crypt_activate_by_passphrase", "cannot activate LUKS", []),
                ("crypt_deactivate", "cannot deactivate LUKS", [self.uuid])):
            self.refuse(function)
            with self.subTest(function):
                self.p1_lines(lambda: self.p1.RemapLUKS(SECRET), FAILED,
                              f"LUKS changekey process failed: {text}")
                self.assertEqual(self.keys(), keys)
            self.allow(function)

    def test_a_partition_that_is_no_volume_is_refused(self):
        self.filesystem("/dev/sda1")
        self.p1_lines(lambda: self.p1.RemapLUKS(SECRET), "OperationNotPermitted",
                      "LUKS remap process failed: partition is not a LUKS partition")
        self.refuse("blkid_do_safeprobe")
        self.p1_lines(lambda: self.p1.RemapLUKS(SECRET), FAILED, "Failed to probe device")

    def test_a_mounted_one_is_unmounted_and_mounted_again(self):
        self.p1.RemapLUKS(SECRET)
        self.p1.Mount()
        self.wait_for(P1, MapperDevice=MAPPER, MountPoint=POINT)
        self.assertEqual(self.p1_lines(lambda: self.p1.RemapLUKS(SECRET)), [
            "Get method call: RemapLUKS()", "LUKS close process OK", "LUKS changekey process OK",
            "LUKS open process OK", "RemapLUKS() OK"])
        self.wait_for(P1, IsMounted=True, MapperDevice=MAPPER)

    def test_after_a_wrong_one_a_mounted_partition_is_unmounted(self):
        self.p1.RemapLUKS(SECRET)
        self.p1.Mount()
        self.wait_for(P1, MapperDevice=MAPPER, MountPoint=POINT)
        self.p1_lines(lambda: self.p1.RemapLUKS("wrong"), FAILED,
                      "LUKS changekey process failed: cannot activate LUKS")
        self.wait_for(P1, IsMounted=False)
        self.assertEqual(self.key(self.uuid), SECRET)
        self.p1.Mount()


class FormatTest(LuksTest):
    def setUp(self):
        super().setUp()
        self.volume()

    def restart(self, value):
        self.stop_daemon()
        self.start_daemon(LUKS_FILESYSTEM_FORMAT=value)

    def test_the_program_is_that_of_the_variable_as_it_stands(self):
        for value in ("EXT4", "ext4 -L name", "fat", "ntfs"):
            self.restart(value)
            self.sh("rm -f /run/disks/mapped-*")
            with self.log("LUKS_FILESYSTEM_FORMAT") as lines:
                if " " in value:
                    self.p1_lines(self.p1.Mount, FAILED,
                                  "Failed to execute child process “/sbin/mkfs.ext4 -L name” "
                                  "(No such file or directory)")
                else:
                    self.p1.Mount()
                    self.wait_for(P1, IsMounted=True)
                    self.assertEqual(self.noted(f"mkfs.{value}"), [f"-F {MAPPED}"])
            self.assertEqual(lines, [])

    def test_a_file_system_that_is_not_supported_is_refused_and_the_volume_closed(self):
        for value in ("btrfs", "", "ex", " ext4"):
            self.restart(value)
            with self.subTest(value):
                text = f"LUKS_FILESYSTEM_FORMAT is not supported: {value}"
                self.assertEqual(
                    self.p1_lines(self.p1.Mount, "PeripheralNotSupported", text),
                    ["Get method call: Mount()", "LUKS open process OK", "LUKS close process OK",
                     f"<error> [{P1}] Mount() failed: {text}"])
        self.assertEqual(self.mappings(), [])

    def test_a_format_that_fails_closes_a_volume_that_was_open_too(self):
        self.restart("btrfs")
        self.sh(f"mkfifo {MAPPED}; echo /dev/sda1 >/run/mappings/{MAPPER};"
                f"truncate -s 1M /run/disks{MAPPED}")
        self.p1_lines(self.p1.Mount, "PeripheralNotSupported",
                      "LUKS_FILESYSTEM_FORMAT is not supported: btrfs")
        self.assertEqual(self.mappings(), [])

    def test_a_program_that_is_not_there_is_a_failure_and_one_that_fails_is_not(self):
        self.restart("xfs")
        self.sh("rm -f /usr/sbin/mkfs.xfs")
        self.p1_lines(self.p1.Mount, FAILED, "Failed to execute child process “/sbin/mkfs.xfs” "
                                             "(No such file or directory)")
        self.assertEqual(self.mappings(), [])
        self.restart("ext4")
        self.call("mkfs.ext4", "exit 1")
        self.p1_lines(self.p1.Mount, FAILED, "Mount failed")

    def test_nothing_is_formatted_of_which_nobody_knows_what_it_holds(self):
        self.refuse("blkid_do_safeprobe", calls_before=1)
        self.p1_lines(self.p1.Mount, FAILED, "Failed to probe device")
        self.allow("blkid_do_safeprobe")
        self.refuse("blkid_new_probe_from_filename", calls_before=1)
        self.p1_lines(self.p1.Mount, FAILED, "Failed to create blkid probe")
        self.allow("blkid_new_probe_from_filename")
        # What has been recognised, but not by a type, is something.
        self.sh("f=$(ls /run/disks/mapped-*); mkswap $f >/dev/null")
        self.refuse("blkid_probe_lookup_value", calls_before=1)
        self.p1_lines(self.p1.Mount, FAILED, "Failed to lookup value")
        self.assertEqual((self.noted("mkfs.ext4"), self.mappings()), ([], []))

    def test_a_volume_with_anything_that_has_a_type_is_not_formatted(self):
        self.p1.Mount()
        self.wait_for(P1, IsMounted=True)
        self.p1.Unmount()
        self.sh("f=$(ls /run/disks/mapped-*); rm $f; truncate -s 2M $f; mkswap $f >/dev/null")
        self.p1_lines(self.p1.Mount, FAILED, "Mount failed")
        self.assertEqual(len(self.noted("mkfs.ext4")), 1)

    def test_another_device_in_the_place_of_the_mapped_one_is_not_formatted(self):
        self.call("blkid_do_safeprobe", f"[ ! -e {MAPPED} ] || {{ mv {MAPPED} {MAPPED}.old; "
                  f"mkfifo {MAPPED}; }}")
        self.p1_lines(self.p1.Mount, FAILED, "Failed to probe device")
        self.assertEqual(self.noted("mkfs.ext4"), [])

    def test_a_mapping_of_another_device_under_the_same_name_is_not_formatted(self):
        self.sh("mkfifo /dev/mapper/sda1_encrypted; echo /dev/sdb1 >/run/mappings/sda1_encrypted;"
                "truncate -s 1M /run/disks/dev/mapper/sda1_encrypted")
        self.p1_lines(self.p1.Mount, FAILED, "Failed to probe device")
        self.assertEqual((self.noted("mkfs.ext4"), self.mappings()), ([], [MAPPER]))


class ReplacedTest(LuksTest):
    """The stick is pulled out, another one gets its name, and nobody has told the daemon yet."""

    def replace(self):
        self.world.do("absent", "/dev/sda1")
        self.world.do("plug", "block", "other", "devtype=partition", "node=sda1", "quiet=1")

    def test_no_volume_is_made_of_it(self):
        self.replace()
        self.p1_lines(lambda: self.p1.InitializeLUKS(SECRET), FAILED,
                      "LUKS initialization process failed: cannot initialize LUKS")
        self.assertEqual(self.calls("crypt_init", "crypt_format"), [])

    def test_no_volume_of_it_is_opened_and_formatted(self):
        self.volume()
        self.replace()
        self.p1_lines(self.p1.Mount, FAILED, "LUKS open process failed: cannot initialize LUKS")
        self.p1_lines(lambda: self.p1.RemapLUKS(SECRET), FAILED,
                      "LUKS changekey process failed: cannot initialize LUKS")
        self.assertEqual(self.noted("mkfs.ext4"), [])

    def test_once_it_is_known_it_is_the_partition(self):
        self.unplug("sda")
        self.insert("sda", "sda1")
        self.volume()


class SystemNameTest(LuksTest):
    def test_volumes_of_the_system_disk_have_names_of_their_own(self):
        self.act("disk-system USB 1")
        self.lines(self.partition("sda3"))
        self.sh("mkdir /run/there; mount -t tmpfs /dev/mapper/p3_encrypted /run/there")
        self.wait_for("Partition/USB_p3", IsMounted=True, MapperDevice="p3_encrypted",
                      MountPoint="/run/there")

    def test_of_several_mounts_of_the_mapped_device_the_last_is_shown_and_the_device_first(self):
        self.sh(f"mkdir /run/1 /run/2 /run/3; mount -t tmpfs {MAPPED} /run/1;"
                f"mount -t tmpfs {MAPPED} /run/2")
        self.wait_for(P1, MountPoint="/run/2", MapperDevice=MAPPER)
        self.sh("mount -t tmpfs /dev/sda1 /run/3")
        self.wait_for(P1, MountPoint="/run/3", MapperDevice=MAPPER)


class LibraryTest(LuksTest):
    def libraries(self):
        with open(f"/proc/{self.daemon_pid}/maps", encoding="utf-8") as maps:
            return {os.path.basename(line.split()[-1]) for line in maps if ".so" in line}

    def test_it_is_loaded_by_the_first_volume(self):
        self.filesystem("/dev/sda1")
        self.p1.Mount()
        self.p1.Unmount()
        self.p1.GetUUID()
        self.assertFalse([name for name in self.libraries() if "crypt" in name])
        self.p1.InitializeLUKS(SECRET)
        self.assertTrue([name for name in self.libraries() if "cryptsetup" in name])

    def test_where_it_cannot_be_loaded_nothing_begins(self):
        self.sh("touch /run/empty; library=$(readlink -f /usr/lib/*/libcryptsetup.so.12);"
                'mount --bind /run/empty "$library"')
        lines = self.p1_lines(lambda: self.p1.InitializeLUKS(SECRET), FAILED,
                              "LUKS initialization process failed: cannot initialize LUKS")
        self.assertRegex(lines[1], r"^<error> .*libcryptsetup\.so\.12.*: file too short$")
        self.sh('library=$(readlink -f /usr/lib/*/libcryptsetup.so.12); umount "$library"')
        self.volume()


class SecretTest(LuksTest):
    """A passphrase leaves no trace but its key file."""

    # What is freed stays as it is: the tests' environment has it overwritten.
    storage_environment = {"MALLOC_PERTURB_": "0"}

    def in_memory(self, mark):
        """Where the daemon's memory has the mark."""
        found = []
        with open(f"/proc/{self.daemon_pid}/maps", encoding="utf-8") as maps, \
                open(f"/proc/{self.daemon_pid}/mem", "rb", buffering=0) as memory:
            for line in maps:
                span, access = line.split()[:2]
                if "r" not in access or "[v" in line:
                    continue
                start, end = (int(word, 16) for word in span.split("-"))
                if end - start > 1 << 30:
                    continue  # a sanitizer's book of the memory
                try:
                    memory.seek(start)
                    content = memory.read(end - start)
                except (OSError, OverflowError):
                    continue
                found += [f"{start + match.start():x}: {line.strip()}"
                          for match in re.finditer(re.escape(mark), content)]
        return found

    def assertWiped(self, mark):
        """The bus library's thread takes its own time."""
        perimond.wait_until(lambda: not self.in_memory(mark.encode()),
                            f"no copy of {mark} is left in {self.in_memory(mark.encode())}")

    def test_it_is_never_logged(self):
        secret = "Pa55phrase-of-" + "its-own-0815"
        self.p1.InitializeLUKS(secret)
        self.p1.Mount()
        self.wait_for(P1, MapperDevice=MAPPER)
        self.p1.RemapLUKS(secret)
        self.p1_lines(lambda: self.p1.RemapLUKS(secret + "-wrong"), FAILED,
                      "LUKS changekey process failed: cannot activate LUKS")
        self.assertEqual([line for line in self.log_lines() if secret in line], [])
        self.assertEqual(self.error_lines(), [])
        self.assertNotIn(secret, self.world.do("record"))

    def test_what_the_daemon_had_of_it_is_wiped(self):
        # One that comes with its message at once, and one that has to be waited for.
        for length in (30, 20000):
            mark = f"its-own-{length}-" + "copy"
            secret = (mark * length)[:length]
            with self.subTest(length):
                self.p1.InitializeLUKS(secret)
                self.assertWiped(mark)
                self.p1.Mount()
                self.p1.Unmount()
                self.assertWiped(mark)
                self.p1.RemapLUKS(secret)
                with self.assertRaises(GLib.Error):
                    self.p1.RemapLUKS("wrong" + secret)
                self.assertWiped(mark)
                self.act("disk-system USB 1")
                with self.assertRaises(GLib.Error):
                    self.p1.InitializeLUKS(secret)
                self.assertWiped(mark)
                self.act("disk-system USB 0")


if __name__ == "__main__":
    perimond.main()
