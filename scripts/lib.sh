# Shared by the scripts. Source it; it changes nothing by itself.
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# build_preset PRESET [TARGET...]: configures and builds; quiet unless it fails.
build_preset() {
    local preset=$1
    shift
    local log
    log=$(mktemp)
    local started=$SECONDS
    local -a targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    if (cd "$project" && cmake --preset "$preset" && cmake --build "build/$preset" "${targets[@]}") >"$log" 2>&1 </dev/null; then
        echo "built $preset in $((SECONDS - started)) s"
        rm -f "$log"
        return 0
    fi
    grep -E -A5 'error|FAILED|CMake Error' "$log" | head -n 60 >&2 || true
    tail -n 20 "$log" >&2
    echo "building $preset failed; the whole output is in $log" >&2
    return 1
}

# run_tests PRESET [CTEST ARGUMENT...]: runs the tests that were built; prints ctest's closing lines, and the
# output of what failed.
run_tests() {
    local preset=$1
    shift
    local log status=0
    log=$(mktemp)
    (cd "$project/build/$preset" && ctest -j "$(nproc)" --output-on-failure "$@") >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" != 0 ]; then
        grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed|^ +Start +[0-9]+:' "$log" | head -n 400
    else
        echo "--- $preset"
        tail -n 4 "$log"
    fi
    rm -f "$log"
    return "$status"
}
