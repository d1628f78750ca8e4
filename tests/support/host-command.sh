# What the tests of the command koln share; read by their scripts, which take a suite and the folder
# with koln and koln-simulate as arguments.
# shellcheck shell=sh
set -u
suite=$1
bin=$(cd "$2" && pwd)
koln=$bin/koln
user=nobody
# LeakSanitizer cannot examine a process that has changed its user.
[ -z "${KOLN_SANITIZED:-}" ] || user=root
failures=0
unset KOLN_CONFIG KOLN_DATA KOLN_DEBUG_LOG LOTUS

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
chmod 755 "$work"
out=$work/out
err=$work/err

complain() {
  failures=$((failures + 1))
  printf 'FAILED: %s: %s\n' "$1" "$2"
  sed 's/^/  stderr: /; 20q' "$err"
}

# expect NAME STATUS PATTERN COMMAND...: runs the command; its stderr must be one line that the
# pattern (of `case`) describes, or empty for the pattern ''.
expect() {
  name=$1 status=$2 pattern=$3
  shift 3
  "$@" >"$out" 2>"$err" </dev/null
  seen=$?
  [ "$seen" -eq "$status" ] || complain "$name" "status $seen, not $status"
  lines=$(wc -l <"$err")
  [ "$lines" -eq "$([ -z "$pattern" ] && echo 0 || echo 1)" ] ||
    complain "$name" "$lines lines on stderr"
  # shellcheck disable=SC2254  # a pattern on purpose
  case $(cat "$err") in
    $pattern) ;;
    *) complain "$name" "stderr is not like: $pattern" ;;
  esac
}

# rows N NAME: stdout of the last command has N lines.
rows() {
  seen=$(wc -l <"$out")
  [ "$seen" -eq "$1" ] || complain "$2" "$seen lines on stdout, not $1"
}

data=$work/partition/data
conf=$work/partition/registry.conf

# partition OPTION...: makes it and what koln needs to use it, or ends the script.
partition() {
  if [ "$(id -u)" -ne 0 ]; then
    echo 'SKIPPED: koln becomes the user of the partition, and that takes the rights of root'
    exit 77
  fi
  "$bin/koln-simulate" create "$work/partition" --user "$user" "$@" >"$out" 2>"$err" || {
    complain 'koln-simulate' 'made no partition'
    exit 1
  }
  LD_LIBRARY_PATH=$(sed -n 's/^_sDominoHomeDir = //p' "$conf")/notes/latest/linux
  export LD_LIBRARY_PATH
}

# run: the suite that was asked for, and the end of the script.
run() {
  "${suite}_suite"
  if [ "$failures" -ne 0 ]; then
    echo "$failures failed"
    exit 1
  fi
}
