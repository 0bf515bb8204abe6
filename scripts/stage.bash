# The stage on which scripts play the program: a virtual display with a window manager, and the hands
# and eyes of a player. Sourced by the scripts that play; does nothing by itself.
#
# The script that sources it sets
#   play    its own name, which begins every line that it prints
#   shots   the folder for the pictures, which exists
#   limit   how many seconds (SECONDS) a play may take
# and may define tell_more, which prints what else is worth knowing after a failure.

# The places of the controls in the window, each its middle.
declare -gA place=(
    [ChooseMetadata]='65 50' [SubmitButton]='190 50' [ChangeNotes]='550 50' [ChangePreview]='290 250'
    [OutputLog]='365 395'
)
title='^Tarnwick Mod Uploader$'
started=()
program=
window=
log=
output=
step=0

say() { echo "$play: $*"; }

# Stops what was started here, the latest first, and nothing else.
clean_up() {
    local i
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do
        kill "${started[i]}" 2>/dev/null || continue
        # A program that hangs must not keep the display from going.
        for _ in {1..50}; do
            kill -0 "${started[i]}" 2>/dev/null || break
            sleep 0.1
        done
        kill -KILL "${started[i]}" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    [[ -z ${scratch-} ]] || rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

fail() {
    echo "$play: FAILED: $*" >&2
    if [[ -n ${DISPLAY-} ]]; then
        screenshot failed || true
    fi
    [[ -z $log ]] || printf '%s\n' "--- the log of the window" "$log" >&2
    if [[ -s $output ]]; then
        { echo "--- what the program printed"; cat "$output"; } >&2
    fi
    if declare -F tell_more >/dev/null; then
        tell_more >&2
    fi
    exit 1
}

alive() { kill -0 "$1" 2>/dev/null; }

# wait_for WHAT COMMAND...: repeats the command until it succeeds.
wait_for() {
    local what=$1
    shift
    until "$@"; do
        ((SECONDS < limit)) || fail "after $limit seconds still waiting for $what"
        [[ -z $program ]] || alive "$program" || fail "the program ended while waiting for $what"
        sleep 0.05
    done
}

# --- the stage ----------------------------------------------------------------------------------

require_tools() {
    local tool
    for tool in Xvfb openbox xdotool wmctrl xclip import convert; do
        if ! command -v "$tool" >/dev/null; then
            echo "$play: $tool is missing; scripts/setup --test installs it" >&2
            exit 1
        fi
    done
}

# open_stage WIDTH HEIGHT: a display of that many pixels, with openbox.
open_stage() {
    export LC_ALL=C.UTF-8
    # The player's own screen is not to be touched, not even for a picture of a failure.
    unset DISPLAY
    # The state that the programs keep goes with the stage, and nothing of the player's desktop
    # changes how the window looks or which file dialog comes up.
    scratch=$(mktemp -d "$shots/stage.XXXXXX")
    output=$scratch/program.txt
    mkdir -m 700 "$scratch/home" "$scratch/runtime"
    stage=(env -u WAYLAND_DISPLAY -u XDG_CURRENT_DESKTOP -u XDG_SESSION_TYPE
        -u DBUS_SESSION_BUS_ADDRESS -u KDE_FULL_SESSION -u GNOME_DESKTOP_SESSION_ID
        -u DESKTOP_SESSION -u QT_QPA_PLATFORMTHEME -u QT_STYLE_OVERRIDE -u QT_SCALE_FACTOR
        -u QT_FONT_DPI -u QT_AUTO_SCREEN_SCALE_FACTOR -u XDG_CONFIG_HOME -u XDG_CACHE_HOME
        -u XDG_DATA_HOME -u XDG_STATE_HOME HOME="$scratch/home"
        XDG_RUNTIME_DIR="$scratch/runtime" QT_QPA_PLATFORM=xcb)

    # The server chooses a free display and tells its number. Without -noreset it would start over
    # each time its last client leaves.
    "${stage[@]}" Xvfb -displayfd 3 -screen 0 "$1x$2x24" -dpi 96 \
        -noreset -nolisten tcp -nolisten unix \
        3>"$scratch/display" >"$scratch/xvfb.txt" 2>&1 &
    started+=($!)
    server=$!
    wait_for "the virtual display" server_ready
    DISPLAY=:$(<"$scratch/display")
    export DISPLAY

    # Without bindings it grabs no mouse button; a click that it held up would come after later keys.
    printf '<openbox_config xmlns="http://openbox.org/3.4/rc"><keyboard/><mouse/></openbox_config>\n' \
        >"$scratch/openbox.xml"
    "${stage[@]}" openbox --config-file "$scratch/openbox.xml" >"$scratch/openbox.txt" 2>&1 &
    started+=($!)
    wait_for "the window manager" manager_ready
}
has_line() { [[ -s $1 ]] && (($(wc -l <"$1") > 0)); }
server_ready() {
    alive "$server" || fail "Xvfb does not start: $(cat "$scratch/xvfb.txt")"
    has_line "$scratch/display"
}
manager_ready() { wmctrl -m >/dev/null 2>&1; }

# start_program FOLDER COMMAND...: starts the program in FOLDER and waits for its window.
start_program() {
    (cd "$1" && exec "${stage[@]}" "${@:2}") >"$output" 2>&1 &
    program=$!
    started+=("$program")
    wait_for "the window" window_shown "$title"
    window=$(window_named "$title")
    wait_for "the window to be active" window_active "$title"
}

# Closes the window as its close button does and waits for the program to end well.
close_program() {
    local pid=$program result=0
    wmctrl -i -c "$window"
    program=
    wait_for "the program to end" program_ended "$pid"
    wait "$pid" || result=$?
    ((result == 0)) || fail "the program ended with exit code $result"
}
program_ended() { ! alive "$1"; }

# --- hands --------------------------------------------------------------------------------------

# click CONTROL [DX DY]: clicks on a control, beside its middle if wanted.
click() {
    local x y
    read -r x y <<<"${place[$1]}"
    xdotool mousemove --window "$window" $((x + ${2:-0})) $((y + ${3:-0})) click 1
}
press() { xdotool key --clearmodifiers "$@"; }
write() { xdotool type --clearmodifiers --delay 5 "$1"; }

# choose_in_dialog TITLE FILE PICTURE: names the file in the file dialog, keeping a picture of it.
choose_in_dialog() {
    wait_for "the file dialog" window_active "^$1\$"
    write "$2"
    screenshot "$3"
    press Return
    wait_for "the file dialog to close" window_gone "^$1\$"
}

# --- eyes ---------------------------------------------------------------------------------------

window_named() { xdotool search --onlyvisible --name "$1" 2>/dev/null | head -n 1; }
window_shown() { [[ -n $(window_named "$1") ]]; }
window_gone() { ! window_shown "$1"; }
window_active() {
    local wanted
    wanted=$(window_named "$1")
    [[ -n $wanted && $(xdotool getactivewindow 2>/dev/null) == "$wanted" ]]
}

clipboard() { timeout 2 xclip -out -selection clipboard 2>/dev/null || true; }

# Takes a picture of the whole screen. Numbered, so that a listing shows them in their order.
screenshot() {
    local shot
    step=$((step + 1))
    shot=$shots/$(printf '%02d' "$step")-$1.png
    import -silent -window root "$shot"
    say "screenshot $shot"
}

# The program keeps no log file: the log is read as a player would, by copying it out of the pane.
read_log() {
    click OutputLog
    press ctrl+a ctrl+c
    log=$(clipboard)
    # Elsewhere, so that no two clicks make a double click; the selection must not hide colours.
    click OutputLog 235 60
}
log_has() {
    read_log
    [[ $log == *"$1"* ]]
}
log_has_outcome() {
    read_log
    [[ $log == *"Successfully uploaded mod '"* || $log == *"Failed to upload mod '"* ]]
}

# How many pixels of the log pane have the colour.
log_pixels() {
    import -silent -window "$window" "$scratch/window.png"
    convert "$scratch/window.png" -gravity South -crop "100%x32%+0+0" +repage -alpha off -depth 8 \
        -define histogram:unique-colors=true -format '%c' histogram:info:- \
        | awk -v colour="$1" 'index($0, colour) { count = $1 + 0 } END { print count + 0 }'
}
