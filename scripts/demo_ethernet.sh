# shellcheck shell=bash
# The Ethernet scenes of scripts/demo, which sources this: its variables and functions are used here.
# shellcheck disable=SC2154

# The agent looks at the links when exactly 10 s by the host's clock have passed since it last looked at its adapters. What
# it does behind that look must not last into the next second. The sending of an event would, for half a second of the
# host's time: so each change comes behind a look that raised none, during which the clock is not faster than a real one.
# At its end the ten seconds must be met as well, which a clock much faster than this would not do.
ethernet_speed=$((speed < 5 ? speed : 5))
adapter=
refresh=

# Of real time; bash writes the point as the locale wants it.
microseconds() { printf '%s' "${EPOCHREALTIME//[!0-9]/}"; }

# seconds MICROSECONDS
seconds() { printf '%d.%d' $(($1 / 1000000)) $(($1 / 100000 % 10)); }

# How often the agent has run the commands whose line in the host's record fits the pattern.
commands_run() { grep -c -e "$1" "$host/run/simhost/commands.log" || true; }

events_kept() { wc -l <"$papers/events.jsonl"; }

# The adapters as the host lists them, without heading and ruler.
list_adapters() { "$host/bin/localcli" network nic list | sed 1,2d; }

# The last adapter with a link, of a card in a slot if there is one.
chosen_adapter() {
    list_adapters | awk -v platform="$platform" '
        BEGIN { while ((getline line < platform) > 0) if (line ~ / add-in /) { split(line, words, " "); slot[words[1]] } }
        $4 == "Up" && $5 == "Up" { any = $1; if ($2 in slot) best = $1 }
        END { print best ? best : any }'
}

# control_shown WORD...: as host_control, and shows it.
control_shown() {
    printf '   vok-simhost control %s\n' "$*"
    host_control "$@"
}

# The host's time goes on until the agent looks at all adapters again.
pass_refresh_interval() { host_control clock jump "+$refresh"; }

# The host's clock in nanoseconds.
host_clock() { fact epochNanoseconds; }

# wait_look PATTERN N: until the agent has run more than N commands that fit. Gives 1 when it asks nothing about
# adapters for 15 s of the host's time, which is longer than from one of its looks to the next.
wait_look() {
    local asked=-1 count now quiet_since=0
    until [ "$(commands_run "$1")" -gt "$2" ]; do
        now=$(host_clock)
        count=$(commands_run ' network nic ')
        if [ "$count" != "$asked" ]; then asked=$count quiet_since=$now; fi
        [ $((now - quiet_since)) -lt 15000000000 ] || return 1
        kill -0 "$vokd_id" 2>/dev/null || fail "vokd ended by itself"
        sleep 0.2
    done
}

# Time passes until the agent has looked at its adapters once more.
pass_look_at_everything() {
    local last_asked looks
    last_asked="nic get -n $(list_adapters | awk 'END { print $1 }')\$"
    looks=$(commands_run "$last_asked")
    sleep 0.3  # it may still be busy with the last one
    host_control clock speed 1
    pass_refresh_interval
    wait_look "$last_asked" "$looks" || fail "the agent does not look at the Ethernet adapters"
    sleep 0.2
    host_control clock speed "$ethernet_speed"
}

# link_event STATUS EVENT: changes the link, and wants exactly this event. Tells the time from the command to the moment
# at which the controller wrote the event to its file; of the host's clock it is what that makes of the real time.
link_event() {
    local looks changed_at took skipped=0
    pass_look_at_everything
    looks=$(commands_run 'nic list$')
    changed_at=$(microseconds)
    control_shown nic "$adapter" link "$1"
    if ! wait_look 'nic list$' "$looks"; then
        echo "   The machine was too busy: the agent's look at the links missed its second. Its next look at the adapters comes."
        skipped=$refresh
        pass_refresh_interval
    fi
    wait_rmc_events 1 $((30 * speed))
    took=$(stat -c %.6Y "$papers/events.jsonl")
    took=$((${took//[!0-9]/} - changed_at))
    tail -n 1 "$papers/events.jsonl" | grep -q "\"ID\":$2,.*\"DeviceName\":\"$adapter\"" ||
        fail "instead of event $2 of $adapter the controller got: $(tail -n 1 "$papers/events.jsonl")"
    tell_rmc
    printf '   it came %s s of the host'\''s time after the change, %s s of yours\n' \
        "$(seconds $((took * ethernet_speed + skipped * 1000000)))" "$(seconds "$took")"
}

show_links_changing() {
    say "The links of an Ethernet adapter change" \
        "Every $refresh s of the host's time the agent looks at its adapters, and 10 s later at their links. Here the clock skips" \
        "to a look at the adapters, a link changes, and the clock goes on $ethernet_speed times as fast as yours."
    host_control clock speed "$ethernet_speed"
    link_event down 1384
    link_event up 1390
    link_event unknown 678
    link_event up 680
}

# The name that the next adapter gets.
free_name() {
    local number=0 names
    names=" $(list_adapters | awk '{ printf "%s ", $1 }')"
    while [[ $names == *" vmnic$number "* ]]; do number=$((number + 1)); done
    printf 'vmnic%d' "$number"
}

show_adapter_exchanged() {
    local new place driver inventory looks
    say "One adapter is gone, and a new one has come in its place" \
        "That raises no event. The agent's next look at its adapters sees it, and the next inventory tells it."
    new=$(free_name)
    read -r place driver < <(list_adapters | awk -v name="$adapter" '$1 == name { print $2, $3 }')
    control_shown nic "$adapter" remove
    control_shown nic "$new" add "$place" "$driver"
    pass_refresh_interval
    wait_look "nic get -n $new\$" 0 || fail "the agent does not look at the new adapter"
    # Behind the next look at the links, or behind the time for it, that look and what it gives rise to are over.
    looks=$(commands_run 'nic list$')
    wait_look 'nic list$' "$looks" || true
    host_control clock speed "$speed"
    count_rmc_inventories
    "$programs/vok-rmc" control --out "$papers" ring >/dev/null || fail "the door-bell does not ring"
    wait_rmc_inventory 660
    tell_rmc
    inventory=$(printf '%s/inventory-%04d.json' "$papers" "$inventories")
    if grep -q "\"DeviceName\":\"$adapter\"" "$inventory"; then fail "$adapter is still in $inventory"; fi
    grep -o "{\"Description\":[^{}]*\"DeviceName\":\"$new\"[^{}]*}" "$inventory" | sed "s/^/   $new  /" ||
        fail "$new is not in $inventory"
    [ "$(events_kept)" = "$events" ] || fail "an event came: $(tail -n 1 "$papers/events.jsonl")"
    echo "   $adapter is no longer in it, and no event has come: there are $events as before"
}

ethernet_scenes() {
    local settings
    scene_fits $(((16 + $(list_adapters | wc -l) / 8) * speed)) || return 0
    settings=$("$programs/vokd" --host-root "$host" --check-config) || true
    refresh=$(sed -n 's/^ *CacheRefreshInSeconds.EthernetDevices *\([0-9]*\) seconds.*/\1/p' <<<"$settings")
    adapter=$(chosen_adapter)
    if [ -z "$(list_adapters)" ]; then
        say "The Ethernet adapters" "This host has none: their scenes are left out."
    elif [ -z "$adapter" ]; then
        say "The Ethernet adapters" "None of this host's has a link: their scenes are left out."
    elif ! grep -q '^ *EnableResources .*\(All\|EthernetDevices\)' <<<"$settings"; then
        say "The Ethernet adapters" "The settings leave them out: so are their scenes."
    else
        show_links_changing
        if scene_fits 700; then show_adapter_exchanged; fi
        host_control clock speed "$speed"
    fi
}
