# The tour through the daemon's main job, for a board that runs already. The caller sets
#   tour_run      runs a command on the board:        tour_run busctl ...
#   tour_verb     acts on the board:                  tour_verb read 4
#   tour_daemon   the daemon's log lines so far
#   class_led, class_led_label, gpio_led, gpio_line   what the board's plugin calls its LEDs
# shellcheck shell=bash disable=SC2154,SC2001,SC2016

bus_name=com.tarvel.Perimond
root_path=/com/tarvel/Perimond

if [ -t 1 ]; then
    bold=$(tput bold 2>/dev/null) plain=$(tput sgr0 2>/dev/null)
else
    bold='' plain=''
fi

say() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }
show() { printf '  %s\n' "$*"; }
fail() {
    printf 'The tour failed: %s\n' "$*" >&2
    exit 1
}

patience='' # an option of busctl for calls that take long

# call OBJECT METHOD [SIGNATURE ARGUMENT...]: a call on a peripheral object, as anybody would type it.
call() {
    local interface=$root_path/$1
    interface=${bus_name}.Obj.${1%%/*}
    show "\$ busctl call $bus_name $root_path/$1 $interface ${*:2}"
    local answer
    answer=$(tour_run busctl ${patience:+"$patience"} call "$bus_name" "$root_path/$1" "$interface" \
        "${@:2}" 2>&1) ||
        fail "$answer"
    [ -z "$answer" ] || show "  $answer"
}

# expect WHAT WANTED COMMAND...: shows what a command prints, which must hold WANTED.
expect() {
    local what=$1 wanted=$2 got
    shift 2
    got=$("$@" 2>&1)
    show "$what: $(tr -s '\n ' '  ' <<<"$got")"
    case $got in
    *"$wanted"*) ;;
    *) fail "$what should be '$wanted'" ;;
    esac
}

# await PATTERN: waits for a line of the daemon's log, and shows it.
await() {
    local line
    for _ in $(seq 100); do
        line=$(tour_daemon | grep -m 1 -e "$1") && { show "log: $line"; return; }
        sleep 0.1
    done
    fail "no line '$1' in the daemon's log"
}

tour_identity() {
    say "The boot environment names the model; its plugin is loaded."
    await 'Use model plugin'
    await 'TarvelPerimond Started'
    for property in ModelName SerialNumber Version; do
        expect "$property" '"' tour_run busctl get-property $bus_name $root_path $bus_name $property
    done
    say "Every peripheral is an object on the bus."
    tour_run busctl --list tree $bus_name | sed 's/^/    /'
}

tour_class_led() {
    say "An LED that a kernel driver owns: the call changes its trigger and brightness."
    call "LED/$class_led" SetState u 1
    expect "the LED $class_led_label (trigger, brightness)" 'none 1' tour_verb led "$class_led_label"
    call "LED/$class_led" SetState u 2
    expect "the LED $class_led_label" 'heartbeat' tour_verb led "$class_led_label"
    call "LED/$class_led" GetState
    call "LED/$class_led" SetState u 0
    expect "the LED $class_led_label" 'none 0' tour_verb led "$class_led_label"
}

tour_gpio_led() {
    say "An LED on a GPIO line: the daemon drives the line, and makes the heartbeat itself."
    call "LED/$gpio_led" SetState u 1
    expect "line $gpio_line" 1 tour_verb read "$gpio_line"
    call "LED/$gpio_led" SetState u 0
    expect "line $gpio_line" 0 tour_verb read "$gpio_line"
    call "LED/$gpio_led" SetState u 2
    local levels='' level
    for _ in $(seq 120); do
        level=$(tour_verb read "$gpio_line")
        [ "${levels: -1}" = "$level" ] || levels+=$level
        [ ${#levels} -ge 6 ] && break
        sleep 0.02
    done
    show "line $gpio_line, each change seen: $levels"
    [ ${#levels} -ge 6 ] || fail "the line does not blink"
    call "LED/$gpio_led" SetState u 0
    expect "line $gpio_line" 0 tour_verb read "$gpio_line"
}

tour_wrong_call() {
    say "A wrong call changes nothing, and answers with its D-Bus error."
    show "\$ gdbus call ... LED.SetState 3"
    expect "answer" 'com.tarvel.Perimond.Error.Core.InvalidArgument: Invalid LED state' \
        tour_run gdbus call --system -d $bus_name -o "$root_path/LED/$class_led" \
        -m $bus_name.Obj.LED.SetState 3
}

# tour_hot_plug PLUG-WORDS -- UNPLUG-WORDS -- NAME: a device comes and goes.
tour_hot_plug() {
    local plug=() unplug=()
    while [ "$1" != -- ]; do plug+=("$1"); shift; done
    shift
    while [ "$1" != -- ]; do unplug+=("$1"); shift; done
    say "A device comes and goes; the plugin hears of it."
    show "board: ${plug[*]}"
    tour_verb "${plug[@]}" >/dev/null
    await "\[Board\] add .*'$2'"
    show "board: ${unplug[*]}"
    tour_verb "${unplug[@]}" >/dev/null
    await "\[Board\] remove .*'$2'"
}

# tour_buzzer NAME LINE: a buzzer on a GPIO line.
tour_buzzer() {
    say "A buzzer."
    call "Buzzer/$1" SetState u 1
    expect "line $2" 1 tour_verb read "$2"
    call "Buzzer/$1" SetState u 0
    expect "line $2" 0 tour_verb read "$2"
}

# tour_outputs NAME LINE: a digital output.
tour_outputs() {
    say "A digital output."
    call "DIO/$1" SetState u 1
    expect "line $2" 1 tour_verb read "$2"
    call "DIO/$1" SetState u 0
}

# tour_turn_round NAME INPUT-LINE OUTPUT-LINE: a channel on two lines changes its direction.
tour_turn_round() {
    say "A channel that is an input or an output, as one likes."
    call "DIO/$1" GetDirection
    call "DIO/$1" SetDirection u 1
    call "DIO/$1" SetState u 0
    expect "its output, line $3" 0 tour_verb read "$3"
    call "DIO/$1" SetDirection u 0
    expect "its output, released" 1 tour_verb read "$3"
    call "DIO/$1" GetState
}

# script_file PATH TEXT: puts a script on the board.
script_file() {
    printf '#!/bin/sh\n%s\n' "$2" | tour_run sh -c "cat >$1 && chmod +x $1"
}

# expect_file PATH PATTERN: waits until a script has written that, and shows it.
expect_file() {
    local text=''
    for _ in $(seq 100); do
        text=$(tour_run cat "$1" 2>/dev/null)
        grep -q -e "$2" <<<"$text" && { sed 's/^/  the script wrote: /' <<<"$text"; return; }
        sleep 0.1
    done
    fail "the script wrote '$text' instead of '$2'"
}

# tour_hook NAME LINE: a turned input runs a hook; the inputs read inverted, so a fall of the level
# is the rising edge.
tour_hook() {
    say "A digital input runs a hook script on its edges."
    script_file /run/tour-hook.sh "echo \"\$(id -un) saw the edge: \$0\" >>/run/tour-hook.out"
    tour_verb turn "$2" 1
    call "DIO/$1" AddHook ss edge /run/tour-hook.sh
    call "DIO/$1" SetHook s edge
    call "DIO/$1" SetEvent u 1
    sleep 0.5
    show "board: turn $2 0"
    tour_verb turn "$2" 0
    expect_file /run/tour-hook.out 'edge.hook'
    call "DIO/$1" GetState
    call "DIO/$1" ListHook
    call "DIO/$1" SetEvent u 0
    call "DIO/$1" SetHook s none
    call "DIO/$1" DeleteHook s edge
}

# tour_action NAME KEY: a pressed button runs an action, with the seconds that it was held.
tour_action() {
    say "A button runs an action script on press, each second of holding, and release."
    script_file /run/tour-action.sh 'echo "$1 $2" >>/run/tour-action.out'
    call "Button/$1" AddAction ss tour /run/tour-action.sh
    call "Button/$1" SetAction s tour
    sleep 0.3
    show "board: hold $2, 2.5 s, release $2"
    tour_verb hold "$2"
    sleep 2.5
    tour_verb release "$2"
    expect_file /run/tour-action.out 'release [0-9]' # as long as a busy machine makes it
    call "Button/$1" ListAction
    call "Button/$1" SetAction s disabled
    call "Button/$1" DeleteAction s tour
}

# tour_console NAME VARIABLE: the console is to be off from the next boot on.
tour_console() {
    say "The console is switched off from the next boot on; until then it stays."
    expect "boot variable $2" 1 tour_verb env "$2"
    call "Console/$1" SetIOState u 1
    expect "boot variable $2" 0 tour_verb env "$2"
    expect "IOState" 'u 2' tour_run busctl get-property $bus_name "$root_path/Console/$1" \
        $bus_name.Obj.Console IOState
    call "Console/$1" SetIOState u 2
}

# lines LINE...: their levels in a row.
lines() {
    local levels='' line
    for line; do levels+=$(tour_verb read "$line"); done
    echo "$levels"
}

# tour_serial_lines NAME LINE...: four lines switch the transceiver of a port.
tour_serial_lines() {
    local name=$1
    shift
    say "A serial port whose transceiver hangs on four lines: RS-232, RS-485, RS-422."
    call "SerialPort/$name" SetInterface u 1
    expect "lines $*" 0001 lines "$@"
    call "SerialPort/$name" SetInterface u 2
    expect "lines $*" 0010 lines "$@"
    call "SerialPort/$name" GetInterface
    call "SerialPort/$name" SetInterface u 0
    expect "lines $*" 1100 lines "$@"
}

# tour_serial_driver NAME NODE: the driver switches, with a terminator and resistors of its own.
tour_serial_driver() {
    say "A serial port whose driver switches it, with a bus terminator."
    call "SerialPort/$1" SetInterface u 1
    call "SerialPort/$1" SetTerminator u 2
    expect "what the driver of $2 keeps" port=0x21 tour_verb serial "$2"
    call "SerialPort/$1" SetTerminator u 1
    call "SerialPort/$1" SetInterface u 0
    expect "what the driver of $2 keeps" port=0x0 tour_verb serial "$2"
}

# tour_serial_kernel NAME LINE... -- NODE: three lines, and the kernel drives the direction.
tour_serial_kernel() {
    local name=$1 on=()
    shift
    while [ "$1" != -- ]; do on+=("$1"); shift; done
    say "A serial port on three lines, for which the kernel drives the direction of RS-485."
    call "SerialPort/$name" SetInterface u 1
    expect "lines ${on[*]}" 001 lines "${on[@]}"
    expect "what the driver of $2 keeps" rs485=0x13 tour_verb serial "$2"
    call "SerialPort/$name" SetInterface u 0
    expect "lines ${on[*]}" 100 lines "${on[@]}"
}

# tour_adapter: a USB serial adapter comes, is switched, and goes.
tour_adapter() {
    local port=SerialPort/USB1_SERIVO4711_PORT0 node=ttyUSB0
    say "A USB serial adapter is plugged in: its port is an object, until it is pulled."
    show "board: plug tty $node ... ID_MODEL=Serivo_4711 (at USB1, port0)"
    tour_verb add-serial $node knows=port >/dev/null
    tour_verb plug tty $node node=$node parent=platform/usb/usb1/1-1/1-1:1.0 \
        link=/dev/serial/by-path/platform-usb-0:1:1.0-port0 \
        ID_VENDOR_ID=ffff ID_MODEL_ID=0201 ID_MODEL=Serivo_4711 >/dev/null
    await "Exported at '$root_path/$port'"
    call $port SetInterface u 3
    expect "what the driver of $node keeps" port=0x3 tour_verb serial $node
    show "board: unplug tty $node"
    tour_verb unplug tty $node >/dev/null
    await "\[$port\] Unexported"
}

# tour_can NAME LINE INTERFACE: the bit rate of a CAN port, and its terminator.
tour_can() {
    say "A CAN port: the kernel knows its bit rate, a line switches its terminator."
    call "CAN/$1" GetBitrate
    call "CAN/$1" SetTerminator u 2
    expect "line $2" 1 tour_verb read "$2"
    call "CAN/$1" SetTerminator u 1
    show "board: can $3 state=stopped"
    tour_verb can "$3" state=stopped
    expect "answer" "Cannot get bitrate for inactive device: $3" tour_run busctl call $bus_name \
        "$root_path/CAN/$1" $bus_name.Obj.CAN GetBitrate
    tour_verb can "$3" state=error-active
}
