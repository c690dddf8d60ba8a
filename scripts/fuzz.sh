#!/usr/bin/env bash
# Builds the libFuzzer tree (build-fuzz, clang, ASan + UBSan everywhere) and
# runs every tests/fuzz/*Fuzz target:
#   1. its seed corpus is generated once (tests/fuzz/seeds/<Name>.sh, rerun
#      when the script changes) into build-fuzz/fuzz/seeds/<Name>;
#   2. every input in tests/fuzz/regressions/<Name>/ is replayed;
#   3. it is fuzzed from the seeds (and, in the long run, from the corpus
#      earlier long runs grew in build-fuzz/fuzz/corpus/<Name>).
# Targets run two at a time. Any crash, leak, timeout or out-of-memory fails
# the script; libFuzzer's crash file stays in build-fuzz/fuzz/artifacts/<Name>/.
#
#   scripts/fuzz.sh                 short bounded run (the test command's stage)
#   scripts/fuzz.sh --long          at least 10^6 executions per target; writes
#                                   the table to bench/fuzz/results.md
#   scripts/fuzz.sh [options] [Name ...]   only these targets (e.g. SessionFuzz)
# Options:
#   --budget S   short run: seconds of fuzzing in all, shared by the targets (120)
#   --time S     seconds per target (short run: instead of the budget share;
#                long run: a cap beside --runs, whichever ends first)
#   --runs N     long run: executions per target (1000000)
#   --jobs J     targets at once (2)
#   --no-build   use build-fuzz as it is
set -euo pipefail
cd "$(dirname "$0")/.."

long=0
budget=120
seconds=""
runs=1000000
jobs=2
build=1
only=()
while [ $# -gt 0 ]; do
  case "$1" in
    --long) long=1 ;;
    --budget) budget=$2; shift ;;
    --time) seconds=$2; shift ;;
    --runs) runs=$2; shift ;;
    --jobs) jobs=$2; shift ;;
    --no-build) build=0 ;;
    -h|--help) sed -n '2,22p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "fuzz: unknown option $1" >&2; exit 2 ;;
    *) only+=("$1") ;;
  esac
  shift
done

tree=${CVX_FUZZ_BUILD_DIR:-build-fuzz}
work=$tree/fuzz
# Per input: a hang (quadratic loop, endless retry) shows as a timeout, an
# unbounded allocation as an out-of-memory, before the machine suffers.
timeout_s=20
rss_mb=2048

if [ $build -eq 1 ]; then
  cmake -S . -B "$tree" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCVX_FUZZ=ON \
    -DCVX_BUILD_JAVA=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$tree" -j"$jobs" --target cvx_fuzzers
fi

targets=()
for source in tests/fuzz/*Fuzz.cpp; do
  [ -e "$source" ] || continue
  name=$(basename "$source" .cpp)
  if [ ${#only[@]} -gt 0 ] && [[ ! " ${only[*]} " == *" $name "* ]]; then continue; fi
  targets+=("$name")
done
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz: no targets"
  exit 0
fi

if [ -z "$seconds" ] && [ $long -eq 0 ]; then
  # The budget is wall time: up to `jobs` targets share it at once.
  parallel=$(( jobs < ${#targets[@]} ? jobs : ${#targets[@]} ))
  seconds=$(( budget * parallel / ${#targets[@]} ))
  [ "$seconds" -ge 5 ] || seconds=5
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:symbolize=1}
# Every session probes for Quick Sync; where a Media SDK runtime is installed
# without a GPU, that loads and unloads the runtime each time, which costs
# milliseconds and makes each input look as if it kept memory, so that the
# fuzzer runs its leak scan after every one: 10 to 20 times fewer executions.
# The targets run as on a machine without the runtime; the Quick Sync code has
# its own target and the fake runtime's tests.
export CVX_MFX_RUNTIME=${CVX_MFX_RUNTIME:-/nonexistent/libmfx-runtime.so}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

# Seeds once per version of the target's seed script.
seed() {
  local name=$1 dir=$work/seeds/$1 script=tests/fuzz/seeds/$1.sh
  if [ ! -f "$script" ]; then
    mkdir -p "$dir"
    return 0
  fi
  local stamp
  stamp=$(sha256sum "$script" | cut -d' ' -f1)
  if [ "$(cat "$dir/.stamp" 2>/dev/null)" = "$stamp" ]; then return 0; fi
  rm -rf "$dir"
  mkdir -p "$dir"
  bash "$script" "$dir" >"$work/logs/$name.seeds.log" 2>&1 || {
    echo "fuzz: $name: seed script failed:" >&2
    tail -20 "$work/logs/$name.seeds.log" >&2
    return 1
  }
  echo "$stamp" >"$dir/.stamp"
}

# Writes one line "name|result|executions|exec/s|corpus|coverage|findings"
# into $work/results/<name>.
run_target() {
  local name=$1
  local bin=$tree/tests/fuzz/$name
  local artifacts=$work/artifacts/$name corpus=$work/corpus/$name log=$work/logs/$name.log
  local result=ok findings=""
  if [ $long -eq 0 ]; then
    # Every input of a corpus runs once before fuzzing starts; a corpus grown
    # by long runs would eat the short run's time.
    corpus=$work/corpus-short/$name
    rm -rf "$corpus"
  fi
  mkdir -p "$artifacts" "$corpus"
  local before
  before=$(ls "$artifacts" 2>/dev/null | sort)

  local common=(-timeout=$timeout_s -rss_limit_mb=$rss_mb -artifact_prefix="$artifacts/")
  local regressions=()
  if [ -d "tests/fuzz/regressions/$name" ]; then
    while IFS= read -r -d '' file; do regressions+=("$file"); done \
      < <(find "tests/fuzz/regressions/$name" -type f ! -name '.*' ! -name '*.md' -print0 | sort -z)
  fi
  : >"$log"
  if [ ${#regressions[@]} -gt 0 ]; then
    # One process per input, so each failing input is named on its own.
    local file
    for file in "${regressions[@]}"; do
      # The braces catch the shell's own note of a signal into the log too.
      if ! { "$bin" "${common[@]}" -close_fd_mask=1 "$file" >>"$log" 2>&1; } 2>>"$log"; then
        result=FAILED
        findings+="regression $(basename "$file"); "
      fi
    done
  fi

  local limits=(-max_total_time="$seconds")
  if [ $long -eq 1 ]; then
    limits=(-runs="$runs")
    [ -z "$seconds" ] || limits+=(-max_total_time="$seconds")
  fi
  if ! { "$bin" "${common[@]}" "${limits[@]}" -print_final_stats=1 -close_fd_mask=1 \
      "$corpus" "$work/seeds/$name" >>"$log" 2>&1; } 2>>"$log"; then
    result=FAILED
  fi

  local file
  for file in $(comm -13 <(echo "$before") <(ls "$artifacts" | sort)); do
    findings+="$file; "
  done
  findings=${findings%; }
  local executions rate status corpusSize coverage
  executions=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | tail -1 | awk '{print $2}')
  rate=$(grep -o 'stat::average_exec_per_sec: *[0-9]*' "$log" | tail -1 | awk '{print $2}')
  status=$(grep -E '^#[0-9]+' "$log" | grep 'cov:' | tail -1 || true)
  corpusSize=$(echo "$status" | grep -o 'corp: [0-9]*/[0-9a-zA-Z]*' | awk '{print $2}')
  coverage=$(echo "$status" | grep -o 'cov: [0-9]* ft: [0-9]*' | awk '{print $2 " edges, " $4 " features"}')
  echo "$name|$result|${executions:--}|${rate:--}|${corpusSize:--}|${coverage:--}|${findings:-none}" \
    >"$work/results/$name"
  echo "fuzz: $name: $result (${executions:-?} executions, ${rate:-?}/s)"
}

mkdir -p "$work/logs" "$work/results"
rm -f "$work/results/"*
for name in "${targets[@]}"; do
  [ -x "$tree/tests/fuzz/$name" ] || { echo "fuzz: $name was not built" >&2; exit 1; }
  seed "$name"
done

if [ $long -eq 1 ]; then
  echo "fuzz: ${#targets[@]} targets, $runs executions each${seconds:+ (at most ${seconds}s)}, $jobs at a time"
else
  echo "fuzz: ${#targets[@]} targets, ${seconds}s each, $jobs at a time"
fi
started=$(date +%s)
for name in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n || true; done
  run_target "$name" &
done
wait
elapsed=$(( $(date +%s) - started ))

table() {
  echo "| Target | Result | Executions | Exec/s | Corpus (units/bytes) | Coverage | Findings |"
  echo "|---|---|---:|---:|---:|---|---|"
  for name in "${targets[@]}"; do
    if [ -f "$work/results/$name" ]; then
      echo "| $(sed 's/|/ | /g' "$work/results/$name") |"
    else
      echo "| $name | FAILED (no result) | - | - | - | - | - |"
    fi
  done
}
table
echo "fuzz: ${elapsed}s"

if [ $long -eq 1 ]; then
  mkdir -p bench/fuzz
  {
    echo "# Long fuzz run"
    echo
    echo "$(date -u +%Y-%m-%d), $(nproc) cores of $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'),"
    echo "clang $(clang --version | head -1 | grep -o '[0-9]*\.[0-9]*\.[0-9]*' | head -1), ASan + UBSan,"
    echo "$runs executions per target${seconds:+ or ${seconds}s}, $jobs targets at a time, ${elapsed}s in all."
    echo "\`bash bench/fuzz_long.sh\` reruns it."
    echo
    table
  } >bench/fuzz/results.md
  echo "fuzz: table written to bench/fuzz/results.md"
fi

if grep -q '|FAILED|' "$work/results/"* 2>/dev/null || [ "$(ls "$work/results" | wc -l)" -ne ${#targets[@]} ]; then
  echo "fuzz: FAILED. Logs in $work/logs/; crash inputs in $work/artifacts/<Name>/." >&2
  echo "fuzz: keep each new crash input in tests/fuzz/regressions/<Name>/ with the fix." >&2
  exit 1
fi
echo "fuzz: all targets clean"
