#!/usr/bin/python3
"""Who may call what: every method by nobody, by a member of the group and by root, on a real bus.

The bus daemon reads the built policy, unchanged; a small service owns the daemon's name, so what is
tried is the policy alone. PERIMOND_TEST_POLICY names the policy, PERIMOND_TEST_DATA the folder of
its sources.

Three users and a group are needed. The test makes them in a mount namespace of its own; when it is
not root it becomes root of a user namespace first, which takes the newuidmap program (package
uidmap) and a range of ids of its own in /etc/subuid.
"""

import json
import os
import select
import subprocess
import sys
import tempfile
import unittest

from interface_table import ADMIN, INTERFACES, OPERATE, READ
from perimond import tap

NAME = "com.tarvel.Perimond"
PRIVATE = "PERIMOND_TEST_PRIVATE"
PEER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "policy_peer.py")

NOBODY, MEMBER, ROOT = "nobody", "member", "root"
USERS = {NOBODY: ("65534", "65534"), MEMBER: ("60001", "60001", "60002"), ROOT: ("0", "0")}
PASSWD = """root:x:0:0::/:/bin/sh
nobody:x:65534:65534::/:/bin/false
member:x:60001:60001::/:/bin/false
"""
GROUP = "root:x:0:\nnogroup:x:65534:\nmember:x:60001:\nperimond:x:60002:member\n"

# The rules of Debian's own system bus, without the services installed on this machine.
BUS = """<busconfig>
  <type>system</type>
  <listen>unix:path={folder}/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>
  <include>{policy}</include>
</busconfig>
"""

ALLOWED = {READ: {NOBODY, MEMBER, ROOT}, OPERATE: {MEMBER, ROOT}, ADMIN: {ROOT}}
PUBLISHED = {
    (interface, method): ALLOWED[tier]
    for interface, members in INTERFACES.items()
    for method, (tier, _, _) in members.methods.items()
}
STANDARD = {
    ("org.freedesktop.DBus.Properties", "Get"): ALLOWED[READ],
    ("org.freedesktop.DBus.Properties", "GetAll"): ALLOWED[READ],
    ("org.freedesktop.DBus.Properties", "Set"): set(),
    ("org.freedesktop.DBus.ObjectManager", "GetManagedObjects"): ALLOWED[READ],
    ("org.freedesktop.DBus.Introspectable", "Introspect"): ALLOWED[READ],
    ("org.freedesktop.DBus.Peer", "Ping"): ALLOWED[READ],
    ("org.freedesktop.DBus.Peer", "GetMachineId"): set(),
    ("com.tarvel.Perimond.Obj.LED", "Explode"): set(),
    ("com.example.Weather", "GetState"): set(),
}


def enter_private_namespace():
    """Start again where mounts, and for an ordinary user the ids too, are our own."""
    command = ["unshare", "--mount", "--propagation", "private"]
    if os.geteuid() != 0:
        command += ["--user", "--map-root-user", "--map-auto"]
    command += ["/usr/bin/python3", *sys.argv]
    os.environ[PRIVATE] = "1"
    os.execvp(command[0], command)


class PolicyTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        os.chmod(folder, 0o755)
        for name, content in (("passwd", PASSWD), ("group", GROUP)):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="utf-8") as file:
                file.write(content)
            subprocess.run(["mount", "--bind", path, f"/etc/{name}"], check=True)
            cls.addClassCleanup(subprocess.run, ["umount", f"/etc/{name}"], check=True)
        config = os.path.join(folder, "bus.conf")
        with open(config, "w", encoding="utf-8") as file:
            file.write(BUS.format(folder=folder, policy=os.environ["PERIMOND_TEST_POLICY"]))

        cls.address = f"unix:path={folder}/bus"
        # The bus tells of each call that it refuses.
        cls.log = cls.enterClassContext(open(os.path.join(folder, "log"), "w+", encoding="utf-8"))
        cls.start(["dbus-daemon", "--nofork", "--nopidfile", "--print-address",
                   f"--config-file={config}"], stderr=cls.log)
        cls.service = cls.start([PEER, "service", cls.address])
        cls.unique_name = cls.service.first_line

    @classmethod
    def start(cls, command, **options):
        process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **options)
        cls.addClassCleanup(process.stdout.close)
        cls.addClassCleanup(process.wait)
        cls.addClassCleanup(process.terminate)
        process.first_line = process.stdout.readline().strip()
        return process

    def outcomes(self, user, calls):
        done = subprocess.run([PEER, "client", self.address, *USERS[user]], check=True, text=True,
                              input=json.dumps(calls), stdout=subprocess.PIPE)
        return json.loads(done.stdout)

    def check_matrix(self, methods, with_interface):
        for user in USERS:
            calls = [
                (destination, interface if with_interface else None, method)
                for destination in (NAME, self.unique_name)
                for interface, method in methods
            ]
            allowed = [user in who and with_interface for who in methods.values()] * 2
            for call, expected, outcome in zip(calls, allowed, self.outcomes(user, calls)):
                with self.subTest(user=user, call=call):
                    self.assertEqual(
                        outcome,
                        "passed" if expected else "org.freedesktop.DBus.Error.AccessDenied",
                    )

    def test_the_bus_understands_the_policy(self):
        self.log.seek(0)
        self.assertNotRegex(self.log.read(), "(?i)unknown|warning|ignor")

    def test_each_published_method_is_for_its_tier(self):
        self.assertEqual(len(PUBLISHED), 49)
        self.check_matrix(PUBLISHED, with_interface=True)

    def test_everybody_reads_and_introspects_and_nobody_sets_a_property(self):
        self.check_matrix(STANDARD, with_interface=True)

    def test_no_call_passes_without_its_interface(self):
        self.check_matrix({**PUBLISHED, **STANDARD}, with_interface=False)

    def test_only_root_may_own_the_name(self):
        call = ("org.freedesktop.DBus", "org.freedesktop.DBus", "RequestName")
        self.assertEqual(
            [self.outcomes(user, [call]) for user in (NOBODY, MEMBER, ROOT)],
            [["org.freedesktop.DBus.Error.AccessDenied"]] * 2 + [["passed"]],
        )

    def next_heard(self):
        heard, _, _ = select.select([self.service.stdout], [], [], 5.0)
        self.assertTrue(heard)
        return self.service.stdout.readline()

    def test_a_broadcast_of_an_ordinary_user_reaches_the_daemon(self):
        self.outcomes(NOBODY, [])
        self.assertEqual(self.next_heard(), "heard Rain\n")

    def test_no_signal_is_for_the_daemon_alone(self):
        for user in USERS:
            for destination in (NAME, self.unique_name):
                with self.subTest(user=user, destination=destination):
                    self.outcomes(user, [(destination, "com.example.Weather", "Snow", "signal")])
                    self.outcomes(user, [])
                    self.assertEqual(self.next_heard(), "heard Rain\n")

    def test_no_call_carries_descriptors(self):
        call = (NAME, "com.tarvel.Perimond.Obj.LED", "GetState", "descriptor")
        for user in USERS:
            self.assertEqual(self.outcomes(user, [call, call[:3]]),
                             ["org.freedesktop.DBus.Error.AccessDenied", "passed"])


class GeneratorTest(unittest.TestCase):
    data = os.environ["PERIMOND_TEST_DATA"]

    def generate(self, description):
        with tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
            file.write(description)
            file.flush()
            return subprocess.run(
                [os.path.join(self.data, "make-policy.py"),
                 os.path.join(self.data, "com.tarvel.Perimond.conf.in"),
                 os.path.join(self.data, "com.tarvel.Perimond.xml"), file.name],
                text=True, capture_output=True, check=False,
            )

    def description(self):
        path = os.path.join(self.data, "com.tarvel.Perimond.Obj.xml")
        with open(path, encoding="utf-8") as file:
            return file.read()

    def test_a_method_without_a_tier_ends_the_build(self):
        tier = '<annotation name="com.tarvel.Perimond.Tier" value="read"/>'
        done = self.generate(self.description().replace(tier, "", 1))
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("com.tarvel.Perimond.Obj.Button.GetAction has no tier", done.stderr)

    def test_an_unknown_tier_ends_the_build(self):
        done = self.generate(self.description().replace('value="admin"', 'value="wizard"', 1))
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("com.tarvel.Perimond.Obj.Button.AddAction has no tier", done.stderr)

    def test_the_built_policy_is_that_of_the_descriptions(self):
        with open(os.environ["PERIMOND_TEST_POLICY"], encoding="utf-8") as file:
            self.assertEqual(self.generate(self.description()).stdout, file.read())


if __name__ == "__main__":
    if PRIVATE not in os.environ:
        enter_private_namespace()
    tap.main()
