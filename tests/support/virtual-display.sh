# A screen with a window manager for scripts that are started where there is none. Sourced by them.
# shellcheck shell=bash

# virtual_display FOLDER: sets DISPLAY, and adds the numbers of what it has started to the array `started`. FOLDER is
# for logs.
virtual_display() {
    local folder=$1
    Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>"$folder/display" 2>"$folder/xvfb.log" &
    started+=($!)
    for _ in {1..50}; do
        [[ ! -s $folder/display ]] || break
        sleep 0.1
    done
    if [[ ! -s $folder/display ]]; then
        cat "$folder/xvfb.log" >&2
        exit 1
    fi
    DISPLAY=:$(<"$folder/display")
    export DISPLAY
    unset WAYLAND_DISPLAY
    openbox &>"$folder/openbox.log" &
    started+=($!)
}
