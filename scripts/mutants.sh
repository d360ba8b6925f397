#!/usr/bin/env bash
# Seeds one fault at a time into the product code and runs the test programs that should catch
# it; the share of faults caught is a measure of the test suite (`make mutants`, README "More
# tests"). The faults live in scripts/mutants.txt.
#
#   scripts/mutants.sh [PATTERN]         every fault whose id matches PATTERN (an extended regular
#                                        expression; all faults without one)
#   scripts/mutants.sh --list [PATTERN]  only where each fault would go, nothing is built
#
# Environment: MUTANTS_BUILD_DIR (default build-mutants), MUTANTS_FILE (default
# scripts/mutants.txt), JOBS (default 2), MUTANTS_TIMEOUT (seconds per test program; by default
# four times its run without faults plus 30).
#
# A fault is applied to the working tree and its file restored as soon as its tests have run, on
# any exit and on interruption. Do not edit or build in this checkout while it runs.
set -euo pipefail
export LC_ALL=C

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
build=${MUTANTS_BUILD_DIR:-build-mutants}
list_file=${MUTANTS_FILE:-scripts/mutants.txt}
jobs=${JOBS:-2}
fixed_timeout=${MUTANTS_TIMEOUT:-}
export CCACHE_BASEDIR=$root

die() {
    echo "mutants: $*" >&2
    exit 1
}

list_only=false
if [[ ${1:-} == --list ]]; then
    list_only=true
    shift
fi
pattern=${1:-}
[[ $# -le 1 ]] || die "usage: scripts/mutants.sh [--list] [PATTERN]"
[[ -f $list_file ]] || die "no fault list at $list_file"

# ---- The fault list: records of "key: value" lines, separated by blank lines; "#" comments.
ids=() whats=() finds=() replaces=() tests=()
declare -A seen_id=()

add_record() {
    local -n record=$1
    local where=$2
    [[ ${#record[@]} -eq 0 ]] && return 0
    local key
    for key in id what find replace tests; do
        [[ -n ${record[$key]:-} ]] || die "$list_file: the record ending at line $where has no '$key:'"
    done
    [[ ${record[id]} =~ ^[A-Za-z0-9_.-]+$ ]] ||
        die "$list_file: id '${record[id]}' (line $where) may hold only letters, digits and . _ -"
    [[ -z ${seen_id[${record[id]}]:-} ]] || die "$list_file: id '${record[id]}' appears twice"
    [[ ${record[find]} != "${record[replace]}" ]] ||
        die "$list_file: fault '${record[id]}' replaces its text by the same text"
    [[ ${record[tests]} =~ ^[A-Za-z0-9_]+( [A-Za-z0-9_]+)*$ ]] ||
        die "$list_file: fault '${record[id]}': 'tests:' must name test programs separated by blanks"
    seen_id[${record[id]}]=1
    if [[ -z $pattern || ${record[id]} =~ $pattern ]]; then
        ids+=("${record[id]}")
        whats+=("${record[what]}")
        finds+=("${record[find]}")
        replaces+=("${record[replace]}")
        tests+=("${record[tests]}")
    fi
    record=()
}

declare -A current=()
line_number=0
while IFS= read -r line || [[ -n $line ]]; do
    line_number=$((line_number + 1))
    if [[ -z ${line//[[:space:]]/} ]]; then
        add_record current "$line_number"
        continue
    fi
    [[ $line == \#* ]] && continue
    [[ $line =~ ^(id|what|find|replace|tests):\ (.*)$ ]] ||
        die "$list_file:$line_number: expected 'id:', 'what:', 'find:', 'replace:' or 'tests:' followed by a blank"
    [[ -z ${current[${BASH_REMATCH[1]}]:-} ]] ||
        die "$list_file:$line_number: a second '${BASH_REMATCH[1]}:' in one record (is a blank line missing?)"
    current[${BASH_REMATCH[1]}]=${BASH_REMATCH[2]}
done <"$list_file"
add_record current "$line_number"
total=${#ids[@]}
[[ $total -gt 0 ]] || die "no fault id in $list_file matches '$pattern'"

# ---- Where each fault goes: its text must occur exactly once in the tracked product sources.
product_sources=('*.cpp' '*.hpp' '*.h' '*.c'
    ':(exclude)tests/' ':(exclude)fuzz/' ':(exclude)bench/' ':(exclude)emulator/')

occurrences() { # text file
    local content rest
    content=$(<"$2")
    rest=${content//"$1"/}
    echo $(((${#content} - ${#rest}) / ${#1}))
}

files=() reasons=()
for index in "${!ids[@]}"; do
    text=${finds[$index]}
    mapfile -t hits < <(git grep -F -l -e "$text" -- "${product_sources[@]}" || true)
    count=0
    for file in "${hits[@]}"; do
        count=$((count + $(occurrences "$text" "$file")))
    done
    if [[ $count -eq 1 ]]; then
        files+=("${hits[0]}")
        reasons+=("")
    else
        files+=("")
        if [[ $count -eq 0 ]]; then
            reasons+=("its text is not in the product code")
        else
            reasons+=("its text occurs $count times (${hits[*]})")
        fi
    fi
done

if $list_only; then
    for index in "${!ids[@]}"; do
        printf '%-40s %s\n' "${ids[$index]}" "${files[$index]:-not applied: ${reasons[$index]}}"
    done
    exit 0
fi

# A file with changes of its own would be rewritten by a fault and its changes mixed in (or a
# fault left behind by a killed run taken for the product).
mapfile -t touched < <(printf '%s\n' "${files[@]}" | sed '/^$/d' | sort -u)
if [[ ${#touched[@]} -gt 0 ]] && ! git diff --quiet HEAD -- "${touched[@]}"; then
    echo "mutants: these files have uncommitted changes; commit or stash them first:" >&2
    git diff --name-only HEAD -- "${touched[@]}" | sed 's/^/  /' >&2
    exit 1
fi

mkdir -p "$build"
bin_dir=$(cd "$build" && pwd)/bin
exec 9>"$build/mutants.lock"
flock -n 9 || die "another mutation run is using $build"
logs=$build/mutants-logs
rm -rf "$logs"
mkdir -p "$logs"
scratch=$(mktemp -d)
original=$scratch/original
mkdir "$scratch/run"

# ---- Always leave the product as it was: restore on every exit and interruption.
mutated=""
child=""
restore() {
    if [[ -n $mutated ]]; then
        cat "$original" >"$mutated"
        mutated=""
    fi
}
finish() {
    restore
    rm -rf "$scratch"
}
interrupted() {
    trap - INT TERM HUP
    [[ -n $child ]] && kill -TERM "$child" 2>/dev/null
    restore
    echo >&2
    echo "mutants: interrupted; the product files are restored" >&2
    exit 130
}
trap finish EXIT
trap interrupted INT TERM HUP

# Runs a test program in the background, so that an interruption need not wait for it; the
# program's own children are ended with it, by timeout.
run_test() { # program seconds log
    (cd "$scratch/run" && exec timeout -k 10 "$2" "$bin_dir/$1" --gtest_brief=1) \
        >>"$3" 2>&1 </dev/null &
    child=$!
    local status=0
    wait "$child" || status=$?
    child=""
    return "$status"
}

build_targets() { # log targets...
    local log=$1
    shift
    cmake --build "$build" -j "$jobs" --target "$@" >>"$log" 2>&1
}

# Configured as `make configure` does, without the benchmarks; tests are listed when CTest runs
# rather than after every link, which would run each relinked program once more. Ninja, where
# installed, finds the little to rebuild after a fault in a fraction of a second, where the
# generated makefiles take several; a directory keeps the generator it was made with.
configure_options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DMICROSOFTAZURE_WERROR=ON
    -DMICROSOFTAZURE_BUILD_BENCHMARKS=OFF -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST)
if command -v ccache >/dev/null; then
    configure_options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
if [[ ! -f $build/CMakeCache.txt ]] && command -v ninja >/dev/null; then
    configure_options+=(-G Ninja)
fi
cmake -S . -B "$build" "${configure_options[@]}" >"$logs/configure.log" 2>&1 ||
    die "configuring $build failed; see $logs/configure.log"

# ---- Without faults every program must pass, or a failure would say nothing about a fault.
mapfile -t programs < <(for index in "${!ids[@]}"; do
    if [[ -n ${files[$index]} ]]; then
        read -r -a named <<<"${tests[$index]}"
        printf '%s\n' "${named[@]}"
    fi
done | sort -u)
declare -A time_limit=()
started=$SECONDS
if [[ ${#programs[@]} -gt 0 ]]; then
    echo "mutants: building ${#programs[@]} test programs in $build (the first build takes a while)"
    build_targets "$logs/baseline.log" "${programs[@]}" ||
        die "the test programs do not build without faults; see $logs/baseline.log"
    for program in "${programs[@]}"; do
        program_start=$SECONDS
        run_test "$program" "${fixed_timeout:-900}" "$logs/baseline.log" ||
            die "$program fails without any fault, so no fault can be judged; see $logs/baseline.log"
        elapsed=$((SECONDS - program_start))
        time_limit[$program]=${fixed_timeout:-$((elapsed * 4 + 30))}
        echo "mutants: $program passes without faults ($elapsed s)"
    done
fi

# ---- One fault at a time.
caught=0 survived=0 not_applied=0 not_built=0
survivors=() unusable=()
for index in "${!ids[@]}"; do
    id=${ids[$index]}
    file=${files[$index]}
    log=$logs/$id.log
    fault_start=$SECONDS
    printf '[%*d/%d] %-40s ' "${#total}" "$((index + 1))" "$total" "$id"
    if [[ -z $file ]]; then
        outcome="not applied"
        detail=${reasons[$index]}
        not_applied=$((not_applied + 1))
        unusable+=("$id: not applied, ${reasons[$index]}")
    else
        cp "$file" "$original"
        mutated=$file
        IFS= read -r -d '' content <"$original" || true
        printf '%s' "${content/"${finds[$index]}"/"${replaces[$index]}"}" >"$file"
        echo "$id: $file" >"$log"
        git diff --no-color -- "$file" >>"$log" || true
        read -r -a programs <<<"${tests[$index]}"
        if ! build_targets "$log" "${programs[@]}"; then
            outcome="did not build"
            detail="see $log"
            not_built=$((not_built + 1))
            unusable+=("$id: did not build, see $log")
        else
            outcome="survived"
            detail="${tests[$index]} passed"
            for program in "${programs[@]}"; do
                if ! run_test "$program" "${time_limit[$program]}" "$log"; then
                    outcome="caught"
                    detail="by $program"
                    break
                fi
            done
            if [[ $outcome == caught ]]; then
                caught=$((caught + 1))
            else
                survived=$((survived + 1))
                survivors+=("$id: ${whats[$index]} ($file)")
            fi
        fi
        restore
    fi
    printf '%-13s %4d s  %s\n' "$outcome" "$((SECONDS - fault_start))" "$detail"
done

echo
echo "mutants: $caught caught, $survived survived, $not_applied not applied, $not_built did not build (of $total)"
if [[ ${#survivors[@]} -gt 0 ]]; then
    echo "Survivors (faults no test noticed):"
    printf '  %s\n' "${survivors[@]}"
fi
if [[ ${#unusable[@]} -gt 0 ]]; then
    echo "To mend in $list_file:"
    printf '  %s\n' "${unusable[@]}"
fi
echo "Took $(((SECONDS - started) / 60)) min $(((SECONDS - started) % 60)) s; logs in $logs"
