#!/bin/sh
# Runs `koln doctor` on good and broken set-ups, and looks at the manners that all commands share.
#   HostDoctorTest.sh manners BIN   what every command answers to help and to wrong usage
#   HostDoctorTest.sh broken  BIN   set-ups with a fault; needs root (status 77 without)
. "$(dirname "$0")/support/host-command.sh"

manners_suite() {
  "$koln" --help >"$work/help"
  [ "$(grep -Ec '^  (KOLN_|LD_LIBRARY_PATH|NO_COLOR)' "$work/help")" -eq 6 ] ||
    complain 'help' 'does not name the variables'
  sed -n '/^Subcommands:/,/^Examples/s/^  \([a-z][a-z]*\) .*/\1/p' "$work/help" >"$work/commands"
  grep -q doctor "$work/commands" || complain 'help' 'no commands'
  while read -r command; do
    expect "$command --help" 0 '' "$koln" "$command" --help
    grep -q "^Usage: koln $command " "$out" || complain "$command --help" 'no usage'
    expect "$command --data" 2 "koln: --data: *'koln $command --help'*" "$koln" "$command" --data
  done <"$work/commands"
  expect 'words in their order' 2 'koln: not expected: b c d; *' "$koln" info a b c d
  expect 'empty configuration file' 2 'koln: --config*empty*' "$koln" --config '' doctor
  expect 'option and environment' 1 "koln: there is no configuration file $work/option;*" \
    env KOLN_CONFIG=/environment "$koln" --config "$work/option" --data /d info x
}

state() { # of all that could be changed
  find "$work/partition" "$work/home" ! -type d -exec cksum {} + | sort
  find "$work/partition" "$work/home" /tmp/lndb_debug -printf '%p %m %u %T@ %C@\n' 2>&1 | sort
}

# examine NAME STATUS STEP FOUND [PREFIX...]: the step alone fails (with status 0: warns) and tells
# what was found and a way out; nothing has changed.
examine() {
  fault=$1 code=$2 step=$3 found=$4
  shift 4
  mark=failed line="koln: failed: $step; *"
  [ "$code" -ne 0 ] || mark=warning line=
  state >"$work/before"
  expect "$fault" "$code" "$line" "$@" "$koln" --config "$conf" --data "$data" doctor --json \
    --time-limit "${limit:-60}"
  state | cmp -s "$work/before" - || complain "$fault" 'something has changed'
  form="{\"step\":\"$step\",\"result\":\"$mark\",\"found\":\".*$found.*\",\"remedy\":\"..*\"}"
  grep -q "^$form\$" "$out" || complain "$fault" "no such finding: $(grep "\"$step\"" "$out")"
}

configured() { # SED-SCRIPT EXAMINE...: with a changed configuration
  sed "$1" "$conf" >"$work/partition/changed.conf"
  shift
  conf=$work/partition/changed.conf "$@"
}

good_partition() {
  doctor="$koln --config $conf --data $data doctor"
  state >"$work/before"
  expect 'good partition' 0 '' sh -c "$doctor"
  state | cmp -s "$work/before" - || complain 'good partition' 'something has changed'
  rows 18 'good partition'
  ! grep -v '^ok \|^warning  user .* root' "$out" || complain 'good partition' 'not all is well'
  grep -q "^ok .* $LD_LIBRARY_PATH -> $LD_LIBRARY_PATH:" "$out" || complain 'variables' 'no values'
  for setting in 0,NO_COLOR=1 18,NO_COLOR=; do
    expect "terminal, $setting" 0 '' env "${setting#*,}" script -qec "$doctor" /dev/null
    coloured=$(grep -c "^$(printf '\033')\[3[0-9]m[a-z]" "$out")
    [ "$coloured" -eq "${setting%,*}" ] || complain "terminal, $setting" "$coloured are coloured"
  done
}

broken_partition() {
  conf=/no/such examine 'no file' 1 configuration 'No such file'
  configured '3s/.*/no value/' examine 'bad line' 1 configuration 'changed.conf:3: line has no'
  configured '/^sDominoUser_1/d; /^sDominoDataDir_1/d' \
    examine 'values missing' 1 partition 'sDominoDataDir_1.*sDominoUser_1'
  configured "s|^\"*$data\"* = 1||; s/_1 = /_0 = /" \
    examine 'not registered' 0 partition 'number 0.*not registered'
  configured "s|$home\$|/no/such|" examine 'no home' 1 'home directory' 'No such file'
  configured 's|^\(sDominoUser_1 = \).*|\1nobody-else|' examine 'no user' 1 user 'nobody-else'
  examine 'no library path' 1 LD_LIBRARY_PATH 'not set' env -u LD_LIBRARY_PATH

  mv "$data/notes.ini" "$work"
  examine 'no notes.ini' 1 notes.ini 'No such file'
  sed 's|^Directory=.*|Directory=/no/such|' "$work/notes.ini" >"$data/notes.ini"
  chown "$user" "$data/notes.ini"
  examine 'other directory' 0 notes.ini '/no/such'
  mv "$work/notes.ini" "$data"
  mv "$data" "$work/elsewhere"
  examine 'no data directory' 1 'data directory' 'No such file'
  mv "$work/elsewhere" "$data"
  [ "$user" != root ] || return
  chown root "$data"
  examine 'no rights' 1 rights "may not list and change $data: Permission"
  chown "$user" "$data"
  examine 'no root' 1 user 'no right to become' runuser -u nobody --
}

library() { # C-CODE
  echo "$1" | cc -w -include stdlib.h -include signal.h -include string.h -include unistd.h \
    -shared -fPIC -x c - -o "$lib" || complain 'cc' 'makes no library'
}

broken_runtime() {
  lib=$work/home/notes/latest/linux/libnotes.so
  other="s|$home\$|$work/home|"
  configured "$other" examine 'no library' 4 libnotes.so 'No such file'
  [ -z "${KOLN_SANITIZED:-}" ] || return # What is made here lacks the sanitizer.
  sed -z 's/^OSPathNetConstruct$/OSPathNetConstrucX/' "$home/${lib#"$work/home/"}" >"$lib"
  configured "$other" examine 'a function' 4 functions '1 of 119 are missing: OSPathNetConstruct'
  command -v cc >/dev/null || return
  library 'int other;'
  configured "$other" examine 'other library' 4 functions '119 of 119 are missing: Conv.*ToGM'
  sed -n 's/.* are missing: \([^"]*\)".*/\1/p' "$out" | sed 's/, /\n/g' >"$work/functions"
  for fault in 'abort()|crashed: Aborted' 'exit(7)|with status 7' \
    'for (signal(15, SIG_IGN);;) pause()|after 1 s'; do
    library "$(sed '/^NotesInitExtended$/d; s/.*/int &(void) { return 0; }/' "$work/functions")
      int NotesInitExtended(void) { ${fault%|*}; return 0; }"
    limit=1 configured "$other" examine "start: $fault" 4 start "${fault#*|}"
  done
  expect 'interrupt' 130 'koln: interrupted; *' timeout --preserve-status -s INT 2 "$koln" --data \
    "$data" --config "$work/partition/changed.conf" doctor
  library 'int access(const char *p, int m) {
      return strcmp(p, "/tmp/lndb_debug") ? faccessat(-100, p, m, 0) : 0; }'
  examine 'hold file' 1 'hold file' 'every start waits' env LD_PRELOAD="$lib"
}

broken_suite() {
  partition --mailboxes 1 --notes 1 --seed 3
  mkdir -p "$work/home/notes/latest/linux"
  home=${LD_LIBRARY_PATH%/notes/latest/linux}
  good_partition
  broken_partition
  broken_runtime
}

run
