#!/usr/bin/env bash
# Times `qorsc render` on whole pages: the bundled sample and every PDF of a corpus,
# at each resolution and thread count, reporting wall time and peak resident memory.
#
#   bench/pages.sh                          sample + ../shared/corpus/*.pdf
#   bench/pages.sh -o results.csv DIR       DIR/*.pdf instead, table also as CSV
#
# Environment:
#   QORSC          the binary (default build/release/tools/qorsc; this script builds nothing)
#   CORPUS_DIR     corpus directory when none is given as an argument
#   BENCH_DPIS     resolutions, default "300 1200"
#   BENCH_THREADS  thread counts, default "1 2"
#   BENCH_TIMEOUT  seconds after which one render is stopped and reported FAILED
#
# Peak memory comes from GNU time (/usr/bin/time, Debian package "time"); without it
# only wall time is measured. Rendered pages go to a temporary directory that is
# emptied after every render and removed at exit, so at most one page's output is on
# disk at a time. A failed render is reported as FAILED and the run goes on; the exit
# status is 1 if any render failed.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

usage() {
  sed -n '2,19p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
}

csv=""
while getopts ":o:h" opt; do
  case $opt in
    o) csv=$OPTARG ;;
    h) usage; exit 0 ;;
    :) echo "pages.sh: -$OPTARG needs a value" >&2; exit 2 ;;
    *) echo "pages.sh: unknown option -$OPTARG (try -h)" >&2; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
if [ $# -gt 1 ]; then
  echo "pages.sh: at most one corpus directory, got $#" >&2
  exit 2
fi

corpus=${1:-${CORPUS_DIR:-$root/../shared/corpus}}
qorsc=${QORSC:-$root/build/release/tools/qorsc}
read -r -a dpis <<<"${BENCH_DPIS:-300 1200}"
read -r -a thread_counts <<<"${BENCH_THREADS:-1 2}"
limit=${BENCH_TIMEOUT:-}

if [ ! -x "$qorsc" ]; then
  echo "pages.sh: no qorsc binary at $qorsc" >&2
  echo "  build it first (cmake --preset release && cmake --build --preset release)" >&2
  echo "  or point QORSC at one." >&2
  exit 1
fi

files=("$root/samples/press_sheet.pdf")
if [ -d "$corpus" ]; then
  shopt -s nullglob
  corpus_files=("$corpus"/*.pdf)
  shopt -u nullglob
  if [ ${#corpus_files[@]} -eq 0 ]; then
    echo "pages.sh: no PDF files in $corpus; timing the sample only" >&2
  fi
  files+=("${corpus_files[@]}")
else
  echo "pages.sh: corpus directory $corpus not found; timing the sample only" >&2
fi

gnu_time=""
if [ -x /usr/bin/time ] && /usr/bin/time -f '%e' -o /dev/null true 2>/dev/null; then
  gnu_time=/usr/bin/time
else
  echo "pages.sh: GNU time not found (apt-get install time): peak memory unavailable" >&2
fi

timeout_cmd=()
if [ -n "$limit" ]; then
  timeout_cmd=(timeout "$limit")
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/qorsc-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/out"

if [ -n "$csv" ]; then
  echo "file,dpi,threads,seconds,peak_mb" >"$csv"
fi

# A field quoted for CSV only when it has to be.
csv_field() {
  case $1 in
    *[,\"]*) printf '"%s"' "${1//\"/\"\"}" ;;
    *) printf '%s' "$1" ;;
  esac
}

row() {
  printf '%-36s %6s %8s %10s %10s\n' "$@"
  if [ -n "$csv" ]; then
    printf '%s,%s,%s,%s,%s\n' "$(csv_field "$1")" "$2" "$3" "$4" "$5" >>"$csv"
  fi
}

# Runs one render; prints "seconds peak_mb" on success and returns its exit status.
render() {
  local file=$1 dpi=$2 threads=$3 status=0
  local command=("${timeout_cmd[@]}" "$qorsc" render "$file" -r "$dpi" --threads "$threads"
                 -f tiff -o "$work/out/page-%d.tif" --quiet)
  if [ -n "$gnu_time" ]; then
    "$gnu_time" -f '%e %M' -o "$work/time" "${command[@]}" >"$work/log" 2>&1 || status=$?
    if [ "$status" -eq 0 ]; then
      # The last line holds the format; GNU time puts notes about the exit above it.
      tail -n 1 "$work/time" | awk '{ printf "%.2f %.1f\n", $1, $2 / 1024 }'
    fi
  else
    local start=$EPOCHREALTIME
    "${command[@]}" >"$work/log" 2>&1 || status=$?
    local end=$EPOCHREALTIME
    if [ "$status" -eq 0 ]; then
      awk -v s="$start" -v e="$end" 'BEGIN { printf "%.2f n/a\n", e - s }'
    fi
  fi
  return "$status"
}

printf '%-36s %6s %8s %10s %10s\n' file dpi threads seconds "peak MB"
failures=0
for file in "${files[@]}"; do
  name=$(basename "$file")
  for dpi in "${dpis[@]}"; do
    for threads in "${thread_counts[@]}"; do
      status=0
      result=$(render "$file" "$dpi" "$threads") || status=$?
      rm -rf "${work:?}/out" && mkdir "$work/out"
      if [ "$status" -eq 0 ]; then
        read -r seconds peak <<<"$result"
        row "$name" "$dpi" "$threads" "$seconds" "$peak"
      else
        failures=$((failures + 1))
        row "$name" "$dpi" "$threads" FAILED FAILED
        {
          if [ -n "$limit" ] && [ "$status" -eq 124 ]; then
            echo "  $name at $dpi dpi, $threads thread(s): stopped after $limit s"
          else
            echo "  $name at $dpi dpi, $threads thread(s): exit status $status"
          fi
          tail -n 3 "$work/log" | sed 's/^/    /'
        } >&2
      fi
    done
  done
done

if [ -n "$csv" ]; then
  echo "CSV written to $csv"
fi
if [ "$failures" -gt 0 ]; then
  echo "pages.sh: $failures render(s) failed" >&2
  exit 1
fi
