#!/bin/sh
# Runs the command koln as a user does and looks at what a user sees: exit code, stdout and the
# line on stderr.
#
#   HostCommandTest.sh usage     BIN   wrong usage and help; needs no rights
#   HostCommandTest.sh partition BIN   a simulated partition; needs root (status 77 without)
#
# BIN is the folder with koln and koln-simulate. KOLN_SANITIZED is set for a build with sanitizers.
. "$(dirname "$0")/support/host-command.sh"

usage_suite() {
  expect 'no command' 2 "koln: it is not said what to do; *'koln --help'*" "$koln"
  expect 'half a command' 2 'koln: it is not said what to do; *' "$koln" discover
  expect 'unknown command' 2 'koln: *not expected: mailbags; *' "$koln" discover mailbags
  expect 'unknown option' 2 'koln: *not expected: --foo; *' "$koln" discover databases --foo
  expect 'level out of range' 2 'koln: --log-level: *7 not in range*' \
    "$koln" --data /d --log-level 7 discover databases
  expect 'no partition' 2 'koln: no partition is named; *' "$koln" discover databases
  expect 'empty data directory' 2 'koln: the data directory is empty; *' \
    "$koln" --data '' discover databases
  expect 'two partitions' 2 'koln: *excludes*' "$koln" --data /d --instance 'D^R/d' \
    discover databases
  expect 'no delimiter' 2 "koln: the instance name 'D\\\\x1B/d' has no delimiter; write ^R *" \
    "$koln" --instance "$(printf 'D\033/d')" discover databases
  expect 'debug log that cannot be opened' 1 'koln: the debug log /no/such/log cannot*' \
    "$koln" --data /d --debug-log /no/such/log discover databases
  expect 'no configuration file' 1 "koln: there is no configuration file $work/none; *--config*" \
    "$koln" --data /d --config "$work/none" discover databases
  : >"$work/empty.conf"
  expect 'data directory of the environment' 1 "koln: there is no partition '/from/environment'*" \
    env KOLN_DATA=/from/./environment/ "$koln" --config "$work/empty.conf" \
    discover databases
  expect 'help' 0 '' "$koln" --help
  grep -q 'koln --data /local/notesdata discover databases' "$out" ||
    complain help 'no example'
  expect 'help of discover' 0 '' "$koln" discover --help
  for command in databases mailboxes additional; do
    grep -q "^  $command " "$out" || complain 'help of discover' "no $command"
  done
  expect 'version' 0 '' "$koln" --version
  grep -Eq '^koln [0-9]+\.[0-9]+\.[0-9]+$' "$out" || complain version 'no version'
}

# ---- a simulated partition ----------------------------------------------------------------------

discover() {
  "$koln" --config "$conf" --data "$data" discover databases "$@"
}

# with FILE 's/sed/script/' FUNCTION...: works with a changed copy of the configuration.
reconfigured() {
  sed "$1" "$work/partition/registry.conf" >"$work/changed.conf"
  shift
  conf=$work/changed.conf
  "$@"
  conf=$work/partition/registry.conf
}

results() {
  expect 'table' 0 '' discover
  rows $((databases + 1)) 'table'
  head -n 1 "$out" | grep -Eq '^PATH +TITLE +REPLICA ID$' || complain table 'no heading'
  grep -Eq '^names\.nsf  +.*[^ ]  +[0-9A-F]{8}:[0-9A-F]{8}$' "$out" || complain table 'no row'

  expect 'JSON lines' 0 '' discover --json
  rows "$databases" 'JSON lines'
  line='^\{"path":"[^"]+","title":"[^"]+","view":"\(\$All\)","replicaId":"[0-9A-F]{8}:[0-9A-F]{8}","extra":""\}$'
  seen=$(grep -Ec "$line" "$out")
  [ "$seen" -eq "$databases" ] || complain 'JSON lines' "only $seen lines are such objects"
  cut -d'"' -f4 "$out" | sort >"$work/reported"
  (cd "$data" && find . -name '*.n[st]f' | sed 's|^\./||' | sort) | cmp -s - "$work/reported" ||
    complain 'JSON lines' 'the paths are not those of the files'

  expect 'short form' 0 '' discover --short --json
  seen=$(grep -Ec '^\{"path":"[^"]+","title":"[^"]+"\}$' "$out")
  [ "$seen" -eq "$databases" ] || complain 'short form' "only $seen lines are such objects"

  expect 'instance name' 0 '' "$koln" --config "$conf" --instance "Any^R$data" discover databases
  rows $((databases + 1)) 'instance name'
}

# Where the result cannot be delivered, or the user wants no more of it.
delivery() {
  expect 'full disk' 1 'koln: the result cannot be written: No space*holds 0 databases' \
    sh -c '"$@" >/dev/full' - "$koln" --config "$conf" --data "$data" discover databases
  expect 'closed output' 1 'koln: the result cannot be written: Bad file*' \
    sh -c '"$@" >&-' - "$koln" --config "$conf" --data "$data" discover databases

  # A reader that goes before anything is written.
  mkfifo "$work/pipe"
  "$koln" --config "$conf" --data "$data" discover databases >"$work/pipe" 2>"$err" &
  : <"$work/pipe"
  wait $!
  case $?,$(cat "$err") in
    1,'koln: the reader of the result has gone; it was given 0 databases') ;;
    *) complain 'closed pipe' 'another status or line' ;;
  esac

  # A reader that does not read: the pipe is full, koln waits and is told to stop.
  exec 3<>"$work/pipe"
  timeout 1 cat /dev/zero >&3
  for signal in INT TERM; do
    "$koln" --config "$conf" --data "$data" discover databases >&3 2>"$err" &
    sleep 1
    kill -s $signal $!
    wait $!
    case $?,$(cat "$err") in
      130,'koln: interrupted'*) ;;
      *) complain "$signal" 'another status or line' ;;
    esac
  done
  exec 3>&-
}

damaged() {
  mkdir "$data/odd"
  echo 'no database' >"$data/odd/damaged.nsf"
  cp "$data/names.nsf" "$data/odd/a.nsf"
  cp "$data/names.nsf" "$data/odd/a.nsf.nsf"
  chown -R "$user" "$data/odd"
  expect 'damaged database' 3 'koln: odd/damaged.nsf is not reported: *(0x0*); repair it*' \
    discover --json
  rows $((databases + 2)) 'damaged database'
  mv "$data/odd/damaged.nsf" "$data/odd/c:.nsf"
  expect 'path with a colon' 3 'koln: odd/c:.nsf is not reported: *":"*' discover --json
  rows $((databases + 2)) 'path with a colon'
  rm -r "$data/odd"
}

# What goes wrong before there is a result: one line each, and the exit code.
start_failures() {
  home=$(sed -n 's/^_sDominoHomeDir = //p' "$conf")
  runtime=notes/latest/linux/libnotes.so
  mkdir -p "$work/home/notes/latest/linux" "$work/plain"

  expect 'unknown partition' 1 "koln: there is no partition '/no/such'*\"Domino\" in $conf; *" \
    "$koln" --config "$conf" --data /no/such discover databases
  expect 'no data directory' 1 "koln: $work/plain is no Domino data directory: *no notes.ini*" \
    "$koln" --config "$conf" --data "$work/plain" discover databases
  expect 'unknown key' 1 'koln: *key "Other" in *--key' \
    "$koln" --config "$conf" --data "$data" --key Other discover databases

  reconfigured '3s/.*/no value/' \
    expect 'unreadable line' 1 "koln: $work/changed.conf:3: line has no \"=\"; *" discover
  reconfigured '/^sDominoUser_1/d' \
    expect 'user not registered' 1 'koln: *"sDominoUser_1" under*add "sDominoUser_1 = ..."*' \
    discover
  reconfigured 's/^sDominoUser_1 = .*/sDominoUser_1 = no-such-user/' \
    expect 'unknown user' 1 "koln: there is no Unix user 'no-such-user', *" discover
  reconfigured "s|$home|relative|" \
    expect 'relative home' 1 "koln: the Domino home directory 'relative' is no absolute*" discover

  reconfigured "s|$home|$work/home|" \
    expect 'no runtime' 4 "koln: there is no Notes runtime $work/home/$runtime; *" discover
  echo 'no library' >"$work/home/$runtime"
  reconfigured "s|$home|$work/home|" \
    expect 'damaged runtime' 4 'koln: the Notes runtime *cannot be loaded: *' discover
  cp "$bin/../hostsupport/libKoLib.so" "$work/home/$runtime"
  reconfigured "s|$home|$work/home|" \
    expect 'another library' 4 'koln: *.so lacks the function ConvertTextToTIMEDATE; *' discover
  if [ -z "${KOLN_SANITIZED:-}" ]; then # There the library uses its functions by these names.
    sed -z 's/^OSPathNetConstruct$/OSPathNetConstrucX/' "$home/$runtime" >"$work/home/$runtime"
    reconfigured "s|$home|$work/home|" \
      expect 'missing function' 4 'koln: *.so lacks the function OSPathNetConstruct; *' discover
  fi

  mv "$data/notes.ini" "$work/notes.ini"
  expect 'no notes.ini' 1 "koln: there is no $data/notes.ini; *" discover
  mkdir "$data/notes.ini"
  expect 'runtime that does not start' 4 'koln: the Notes runtime of *did not start *' discover
  rmdir "$data/notes.ini"
  sed 's|^Directory=.*|Directory=/no/such|' "$work/notes.ini" >"$data/notes.ini"
  expect 'data directory that is not there' 1 'koln: /no/such could not be searched: *' discover
  mv "$work/notes.ini" "$data/notes.ini"

  expect 'empty LD_LIBRARY_PATH' 1 "koln: LD_LIBRARY_PATH is empty*LD_LIBRARY_PATH=$home/notes*" \
    env LD_LIBRARY_PATH= "$koln" --config "$conf" --data "$data" --debug-log "$work/debug.log" \
    discover databases
  grep -q 'failed to get length of LD_LIBRARY_PATH' "$work/debug.log" ||
    complain 'debug log' 'does not hold the detail'
  expect 'no right to become the user' 5 "koln: no right to become the user '$user'*sudo env *" \
    runuser -u nobody -- "$koln" --config "$conf" --data "$data" discover databases
}

partition_suite() {
  partition --mailboxes 5 --notes 1 --seed 3
  databases=$(find "$data" -name '*.n[st]f' | wc -l)
  results
  delivery
  damaged
  start_failures
}

run
