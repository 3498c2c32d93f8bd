# shellcheck shell=bash disable=SC2034,SC2154
# The scenes of the demo that play on the machine itself. Sourced by scripts/demo, whose functions and variables they use.

# The machine's adapters, as the host's command lists them and the agent reads them.
show_adapters() {
    printf '   localcli network nic list\n'
    "$host/bin/localcli" network nic list | cut -c 1-150 | sed 's/^/   /'
}

live_scenes() {
    say "Where the adapters came from: the host's own list" \
        "Those with a device behind them; where none has one, all Ethernet interfaces."
    show_adapters

    if there_is_time 30; then link_scene; fi
}

# --- a link that is really lost ------------------------------------------------------------------------------
# In a network namespace of its own, between two virtual adapters that are made for it: no adapter of the machine's
# is touched, and the kernel removes them with the namespace.

# Makes the namespace, with two adapters that a cable joins; it lasts until the process room_id ends. Where that can't
# be, why_no_room says why.
open_room() {
    local tool
    room_id=
    why_no_room="only root may make a network namespace"
    [ "$(id -u)" = 0 ] || return 1
    for tool in ip unshare nsenter; do
        why_no_room="there is no command \"$tool\" on this machine"
        command -v "$tool" >/dev/null || return 1
    done
    set -m
    # A /sys that is mounted there, for its processes alone, shows its own adapters alone.
    setpriv --pdeathsig KILL unshare --net --mount sh -c '
        mount -t sysfs sysfs /sys && ip link add near0 type veth peer name far0 &&
            ip link set near0 up && ip link set far0 up && echo open && exec sleep 1000' >"$work/room.log" 2>&1 </dev/null &
    room_id=$!
    set +m
    for ((i = 0; i < 100; i++)); do
        grep -qsx open "$work/room.log" && return 0
        kill -0 "$room_id" 2>/dev/null || break
        sleep 0.05
    done
    end_group "$room_id"
    why_no_room="no network namespace can be made here: $(tail -n 1 "$work/room.log" | cut -c 1-200)"
    return 1
}

link_scene() {
    local room_id why_no_room
    if ! open_room; then
        printf '\n   The scene of a link that is lost is left out: %s.\n' "$why_no_room"
        return 0
    fi
    say "A link is lost: on a second host, a network namespace with two adapters and a cable of its own"
    mkdir "$work/link"
    (play_link_scene "$work/link") || exit 1
    end_group "$room_id"
}

# play_link_scene DIR: in a subshell, since it has a host, a controller and an agent of its own.
play_link_scene() {
    work=$1 host=$1/host papers=$1/rmc
    simhost_id='' rmc_id='' vokd_id='' inventories=0 events=0 told=0
    trap 'end_group "$vokd_id"; end_group "$rmc_id"; end_group "$simhost_id"' EXIT
    within=(nsenter --target "$room_id" --net --mount)
    cat >"$work/vok.conf" <<'TXT'
{ "EnableResources": ["EthernetDevices"], "CacheRefreshInSeconds": { "Global": "10" },
  "InventoryQueryIntervalInSeconds": "1", "LoggingLevel": "Info",
  "VOKLogLocation": "/scratch/log/mev/vok/vok.log" }
TXT
    start vok-simhost vok-simhost run --live --root "$host" --config "$work/vok.conf"
    simhost_id=$started_id
    wait_ready vok-simhost "$simhost_id"
    start vok-rmc vok-rmc run --root "$host" --out "$papers"
    rmc_id=$started_id
    wait_ready vok-rmc "$rmc_id"
    "$programs/vok-rmc" control --out "$papers" wait attached 1 --timeout 15 >/dev/null || fail "no controller"
    start_vokd
    wait_rmc_inventory 30
    tell_rmc
    change_link down
    change_link up
    stop_vokd
    "$programs/vok-rmc" control --out "$papers" quit >/dev/null || fail "the controller does not end"
    wait "$rmc_id" || fail "the controller of the second host found the protocol breached"
    rmc_id=
}

# change_link up|down: at the far end of the cable, and the event that comes of it at this one.
change_link() {
    local changed arrived
    printf '   ip link set far0 %s\n' "$1"
    changed=${EPOCHREALTIME/[.,]/}
    "${within[@]}" ip link set far0 "$1" || fail "the link was not set $1"
    wait_rmc_events 1 30
    arrived=${EPOCHREALTIME/[.,]/}
    tell_rmc
    printf '   %d.%d s from the change to the event; the agent looks every ten seconds\n' \
        $(((arrived - changed) / 1000000)) $(((arrived - changed) / 100000 % 10))
}

# --- the machine's own management controller -----------------------------------------------------------------

show_on_ipmi() {
    say "This machine as the host, with its own management controller" \
        "What the agent writes lies in $work; what it has to tell goes through /dev/ipmi0."
    start vok-simhost vok-simhost run --live --ipmi --root "$host"
    simhost_id=$started_id
    wait_ready vok-simhost "$simhost_id"
    show_adapters

    say "What the agent takes this machine for" "vokd --host-root $host --show-platform"
    show_platform

    say "The agent starts, looks at the host and sends its first inventory" "vokd --host-root $host"
    start_vokd
    follow_log "${limit:-40}"

    say "The agent stops gracefully, and leaves its record for the next start" "$startup_record"
    stop_vokd
    show_record
    printf '\ndone in %d s\n' $((SECONDS - began))
}

# The agent's log as it is written, for so many seconds or until told to end.
follow_log() {
    local log=$host/scratch/log/mev/vok/vok.log shown=0 lines until=$((SECONDS + $1))
    keeping=1
    while [ "$stop_wanted" = 0 ] && { [ "$keep" = 1 ] || [ "$SECONDS" -lt "$until" ]; }; do
        kill -0 "$vokd_id" 2>/dev/null || fail "vokd ended by itself"
        lines=$(grep -c "" "$log" 2>/dev/null) || lines=0
        if [ "$lines" -gt "$shown" ]; then
            sed -n "$((shown + 1)),${lines}p" "$log" | cut -c 1-200 | sed 's/^/   log | /'
            shown=$lines
        fi
        sleep 0.5 || true
    done
    keeping=0
}
