"""The commands that act on a board while it runs. What the simulated board can do as well is
the same word there."""

import json
import re
import shlex
import time

from .common import BoardError
from .lines import Lines
from .machine import BUTTONS, PLUGGED


def level(word):
    if word not in ("0", "1"):
        raise BoardError("a level is 0 or 1")
    return int(word)


def number(word):
    try:
        return int(word, 0)
    except ValueError:
        raise BoardError(f"{word} is not a number") from None


def turn(board, line, value):
    board.turn(number(line), level(value))


def read(board, line):
    return f"{board.read(number(line))}\n"


def lines(board):
    shown = ""
    for line in range(Lines.COUNT):
        way = "out" if board.lines.is_output(line) else "in"
        shown += f"{line} {way} {board.read(line)}\n"
    return shown


def press(board, button, seconds="0.05"):
    # Shorter than the kernel's debouncing, the press would not be seen.
    board.hold(button)
    time.sleep(float(seconds))
    board.release(button)


def hold(board, button):
    board.hold(button)


def release(board, button):
    board.release(button)


def plug(board, subsystem, name, image=None):
    board.plug(subsystem, name, image)


def unplug(board, *words):
    board.unplug(words[-1])


def env(board, name=None, value=None):
    if name is None:
        return board.call("fw_printenv") + "\n"
    if value is None:
        return board.call(f"fw_printenv -n {shlex.quote(name)}") + "\n"
    board.call(f"fw_setenv {shlex.quote(name)} {shlex.quote(value)}")


def unenv(board, name):
    board.call(f"fw_setenv {shlex.quote(name)}")


def unescape(text):
    """The bytes that C escapes stand for, as the simulated board reads them."""
    def character(match):
        code = match[1]
        if len(code) > 1:
            return bytes.fromhex(code[1:].decode())
        return {b"n": b"\n", b"t": b"\t"}.get(code, code)
    return re.sub(rb"(?s)\\(x[0-9a-fA-F]{2}|.)", character, text.encode())


def otp(board, flash, lock, data):
    if flash != "0":
        raise BoardError("the board has one flash, number 0")
    if lock not in ("locked", "unlocked"):
        raise BoardError("an OTP area is locked or unlocked")
    board.load(MADE_FILES["/dev/mtd0"], area=unescape(data).hex(), locked=int(lock == "locked"))


# Files of parts that QEMU lacks, and the kernel modules that make them
SECURE_FILE = "/sys/kernel/tarvel/secure"
MADE_FILES = {SECURE_FILE: "secure-file", "/dev/mtd0": "otp-flash"}


def preset(board, path, value):
    if path != SECURE_FILE:
        raise BoardError(f"only {SECURE_FILE} can be preset")
    board.load(MADE_FILES[path], value=value)


def absent(board, path):
    if path not in MADE_FILES:
        raise BoardError(f"only {' and '.join(MADE_FILES)} can be made absent")
    board.unload(MADE_FILES[path])


def led(board, name=None):
    where = "/sys/class/leds"
    names = [name] if name else board.call(f"ls {where}").split()
    shown = ""
    for each in names:
        folder = shlex.quote(f"{where}/{each}")
        trigger, brightness = board.call(f"cat {folder}/trigger {folder}/brightness").splitlines()
        chosen = trigger.split("[")[1].split("]")[0]
        shown += f"{'' if name else each + ' '}{chosen} {brightness}\n"
    return shown


def pwm(board, chip, channel):
    folder = f"/sys/class/pwm/pwmchip{number(chip)}/pwm{number(channel)}"
    period, duty, polarity, enabled = board.call(
        f"cd {folder} && cat period duty_cycle polarity enable").split()
    return f"{period} {duty} {polarity} {'on' if enabled == '1' else 'off'}\n"


def serial(board, node):
    """What the driver of a serial node keeps, as far as it keeps it."""
    return board.call(f"/usr/libexec/board-serial {shlex.quote('/dev/' + node)}") + "\n"


CAN_STATES = "error-active", "stopped"


def can(board, name, *settings):
    device = shlex.quote(name)
    if not settings:
        link = json.loads(board.call(f"ip -details -json link show {device}"))[0]
        data = link["linkinfo"]["info_data"]
        bitrate = data.get("bittiming", {}).get("bitrate", 0)
        return f"state={data['state'].lower()} bitrate={bitrate}\n"
    wanted = dict(word.split("=", 1) for word in settings if "=" in word)
    if len(wanted) != len(settings) or wanted.keys() - {"state", "bitrate"} or \
            wanted.get("state", "stopped") not in CAN_STATES:
        raise BoardError(f"what can be set is state={' or '.join(CAN_STATES)}, bitrate=NUMBER")
    if "bitrate" in wanted:
        board.call(f"ip link set {device} down && "
                   f"ip link set {device} type can bitrate {number(wanted['bitrate'])}")
    if "state" in wanted:
        board.call(f"ip link set {device} {'down' if wanted['state'] == 'stopped' else 'up'}")
    return ""


# word: (function, arguments, help)
VERBS = {
    "turn": (turn, "LINE LEVEL", "drives an input line to a physical level, 0 or 1"),
    "pin": (turn, "LINE LEVEL", "the same as turn"),
    "read": (read, "LINE", "prints the physical level of a line"),
    "out": (read, "LINE", "the same as read"),
    "lines": (lines, "", "lists all lines: direction, physical level"),
    "press": (press, "BUTTON [SECONDS]", f"pushes a button ({', '.join(BUTTONS)}), lets it go"),
    "hold": (hold, "BUTTON", "pushes a button and keeps it down"),
    "release": (release, "BUTTON", "lets a button go"),
    "plug": (plug, "SUBSYSTEM NAME [IMAGE]",
             f"plugs in a device ({', '.join(PLUGGED)}); a block device can have an image"),
    "unplug": (unplug, "[SUBSYSTEM] NAME", "pulls it out again"),
    "otp": (otp, "NUMBER locked|unlocked DATA",
            "puts flash device /dev/mtd0 with that user OTP area; DATA takes C escapes"),
    "preset": (preset, "PATH VALUE", f"puts the file {SECURE_FILE} with a line of text"),
    "absent": (absent, "PATH", f"removes {' or '.join(MADE_FILES)}"),
    "env": (env, "[NAME [VALUE]]", "prints the boot environment or a variable of it, or sets one"),
    "unenv": (unenv, "NAME", "removes a variable of the boot environment"),
    "led": (led, "[NAME]", "prints an LED's trigger and brightness, or those of all"),
    "serial": (serial, "NODE", "prints what the driver of a serial node keeps"),
    "can": (can, "NAME [state=STATE] [bitrate=NUMBER]",
            "prints what the kernel tells of a CAN controller; sets it: STATE is "
            f"{' or '.join(CAN_STATES)}"),
    "pwm": (pwm, "CHIP CHANNEL", "prints period, duty cycle (ns), polarity and on or off"),
}


def do(board, word, *words):
    """Acts on the board; returns what the command prints."""
    if word not in VERBS:
        raise BoardError(f"there is no command {word}")
    function, arguments, _ = VERBS[word]
    most = len(arguments.replace("[", "").replace("]", "").split())
    least = len([name for name in arguments.split() if "[" not in name and "]" not in name])
    if not least <= len(words) <= most:
        raise BoardError(f"usage: {word} {arguments}")
    return function(board, *words) or ""
