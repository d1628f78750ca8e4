#!/bin/sh
# Runs the commands of koln beside `discover databases` as a user does.
#
#   HostOperationsTest.sh arguments BIN   what they refuse before any work; needs no rights
#   HostOperationsTest.sh mailboxes BIN   discovery of mail files; needs root, as do the following
#   HostOperationsTest.sh interrupt BIN   the same among 100,000 persons, interrupted
#   HostOperationsTest.sh databases BIN   further directories, properties, replicas, server commands
. "$(dirname "$0")/support/host-command.sh"

k() {
  "$koln" --config "$conf" --data "$data" "$@"
}

# fields 'NAME ...' TEST: every line of stdout is an object with these fields.
fields() {
  seen=$(sed 's/"\([a-zA-Z]*\)":\("[^"]*"\|null\|[0-9]*\)/\1/g; s/[{}]//g' "$out" | sort -u)
  [ "$seen" = "$(echo "$1" | tr ' ' ,)" ] || complain "$2" "other fields: $seen"
}

arguments_suite() {
  for id in 0123456789ABCDEF01 0025:7CED 0025-7CED:000017A2 00257CED:000017A \
    00257CED:000017A2A 00257CEG:000017A2 ' 0257CED:000017A2' ''; do
    expect "replica ID '$id'" 2 "koln: '$id' is no replica ID; *00257CED:000017A2" k locate "$id"
  done
  for words in info locate console offline online repair 'discover additional'; do
    # shellcheck disable=SC2086  # words on purpose
    expect "$words without argument" 2 'koln: *required*' k $words
  done
  for word in info offline online repair; do
    expect "$word ''" 2 'koln: *path of the database is empty*' k "$word" ''
  done
  expect 'offline without --yes' 2 \
    'koln: this stops all access to mail/a.nsf and REMOVES ITS FILE*nothing was done, add --yes*' \
    k offline mail/a.nsf
  expect 'directory with ?' 2 'koln: the directory a?b holds a "?"*' k discover additional apps 'a?b'
  expect 'empty directory' 2 'koln: a directory is empty; *' k discover additional apps ''
  expect 'names and departments' 2 'koln: *excludes*' \
    k discover mailboxes --with-names --department Sales
  expect 'names and short form' 2 'koln: *excludes*' k discover mailboxes --with-names --short
  # Words that are commands elsewhere.
  expect 'console info' 1 'koln: there is no configuration file*' k console info locate
}

# ---- mail files ---------------------------------------------------------------------------------

persons=60
existing=12

departments() {
  sed -n 's/^People by department: \(.*\)\.$/\1/p' "$work/summary" | sed 's/, /\n/g' >"$work/people"
  [ "$(wc -l <"$work/people")" -eq 3 ] || complain departments 'not three of them'
  while read -r department people; do
    expect "department $department" 0 '' k discover mailboxes --department "$department" --json
    rows "$people" "department $department"
    fields 'path' "department $department"
    mv "$out" "$work/selected"
    expect "without $department" 0 '' k discover mailboxes --without-department "$department" --json
    rows $((persons - people)) "without $department"
    [ -z "$(sort "$out" "$work/selected" | uniq -d)" ] || complain "without $department" 'some in both'
    expect "both, $department" 0 'koln: --department chooses, so --without-department is not*' \
      k discover mailboxes --department "$department" --without-department "$department" --json
    cmp -s "$out" "$work/selected" || complain "both, $department" 'the selection does not win'
  done <"$work/people"
  read -r first people <"$work/people"
  second=$(sed -n '2s/ [0-9]*$//p' "$work/people")
  others=$(sed -n '2s/.* //p' "$work/people")
  expect 'two departments' 0 '' \
    k discover mailboxes --department "$first" --department "$second" --short
  rows $((1 + people + others)) 'two departments'
  expect 'unknown department' 0 '' k discover mailboxes --department 'Köln am Rhein'
  rows 0 'unknown department'
}

# The mail files of most persons do not exist: ten lines, a count, and the rest is reported.
all_mail_files() {
  for option in '' --with-names --short; do
    # shellcheck disable=SC2086  # none or one
    k discover mailboxes $option --json >"$out" 2>"$err"
    [ $? -eq 3 ] || complain "mailboxes $option" 'not status 3'
    rows "$existing" "mailboxes $option"
    [ "$(grep -c '^koln: mail/.* is not reported: There is no such file' "$err")" -eq 10 ] ||
      complain "mailboxes $option" 'not ten lines'
    tail -n 1 "$err" | grep -q "^koln: $((persons - existing - 10)) more are not .*, $((persons - \
existing)) mail files in all" || complain "mailboxes $option" 'no count'
    case $option in
      '') fields 'path title view replicaId extra' 'mailboxes' ;;
      --short) fields 'path title' 'short form' ;;
      *)
        fields 'path title view replicaId owner' owners
        ! grep -v '"owner":"CN=' "$out" || complain owners 'not everybody has a name'
        ;;
    esac
  done
  k discover mailboxes --with-names >"$out" 2>"$err"
  head -n 1 "$out" | grep -Eq '^PATH +TITLE +REPLICA ID +OWNER$' || complain owners 'no heading'

  expect 'one book' 0 '' k discover mailboxes --first-book-only --without-department Nobody
  [ "$(wc -l <"$out")" -lt $((persons * 3 / 4)) ] || complain 'one book' 'both were read'
}

# Names that directories hold beside plain ones; of the same length, so that the file stays whole.
odd_names() {
  cp -p "$data"/names*.nsf "$work"
  LC_ALL=C sed -i 's|mail/aadams\.nsf|mail\\aadams.nsf|; s|mail/fmansour\.nsf|C:\\l/fmansour.nsf|
    s|mail/gangelou\.nsf|S1!!/gangelou.nsf|; s|mail/jzhang\.nsf|ma:l/jzhang.nsf|' "$data"/names*.nsf
  k discover mailboxes --json >"$out" 2>"$err"
  [ $? -eq 3 ] || complain 'odd names' 'not status 3'
  rows $((persons - 3)) 'odd names'
  grep -q '"path":"mail/aadams.nsf"' "$out" || complain 'odd names' 'no backslash'
  [ "$(grep -c '^koln: C:/l/fmansour.nsf is not .*":"\|^koln: ma:l/jzhang.nsf is not .*":"' \
    "$err")" -eq 2 ] || complain 'odd names' 'a colon is not told'
  grep -q '^koln: S1!!/gangelou.nsf is not reported: There is no such file' "$err" ||
    complain 'odd names' 'a server is not told'
  cp -p "$work"/names*.nsf "$data"
}

mailboxes_suite() {
  partition --mailboxes $persons --persons $persons --departments 3 --books 2 --notes 1 --seed 3
  cp "$out" "$work/summary"
  departments
  expect 'every script' 0 '' k discover mailboxes --with-names --json
  rows $persons 'every script'
  for owner in Αγγέλου 張 Dvořák; do
    grep -q "\"owner\":\"CN=[^\"]*$owner/" "$out" || complain 'every script' "no $owner"
  done
  odd_names
  # All but the first are gone.
  find "$data/mail" -type f | sort | tail -n +$((existing + 1)) | xargs rm
  all_mail_files

  expect 'other server' 5 'koln: the directory of CN=Other/O=X could not be read: *--server*' \
    k --server CN=Other/O=X discover mailboxes
  mkdir "$work/books"
  mv "$data"/names*.nsf "$work/books"
  expect 'no address book' 1 'koln: the directory of this server could not be read: *NAMES*' \
    k discover mailboxes
  expect 'no address book, departments' 1 'koln: the directory of this server could not be read*' \
    k discover mailboxes --department Sales
  cp "$data/apps/discussion.nsf" "$data/names.nsf"
  chown "$user" "$data/names.nsf"
  expect 'address book without persons' 0 '' k discover mailboxes --json
  rows 0 'address book without persons'
}

interrupt_suite() {
  partition --mailboxes 0 --persons 100000 --notes 0 --seed 3
  mkfifo "$work/pipe"
  for signal in INT TERM; do
    # The walk has begun when the library tells how many there are; what is read then keeps it busy.
    "$koln" --config "$conf" --data "$data" --log-level 0 discover mailboxes \
      2>"$work/pipe" >"$out" &
    koln_pid=$!
    (
      grep -m 1 'Found \['
      kill -s $signal $koln_pid
      cat
    ) <"$work/pipe" >"$err"
    begun=$(date +%s)
    wait $koln_pid
    status=$?
    [ $(($(date +%s) - begun)) -le 2 ] || complain "$signal" 'it took more than two seconds'
    [ $status -eq 130 ] || complain "$signal" "status $status, not 130"
    grep -q 'Aborting discovery' "$err" || complain "$signal" 'no warning of the library'
    tail -n 1 "$err" | grep -q '^koln: interrupted after 0 mail files' ||
      complain "$signal" 'not told to the user'
    sed -i 1q "$err"
  done
}

# ---- databases ----------------------------------------------------------------------------------

additional() {
  expect 'two directories' 0 '' k discover additional apps "$data/archive" --json
  rows $(($(find "$data/apps" "$data/archive" -name '*.n[st]f' | wc -l))) 'two directories'
  fields 'path title view replicaId extra' 'two directories'
  expect 'one within the other' 0 '' k discover additional apps apps/hr --short
  rows $((1 + $(find "$data/apps" -name '*.n[st]f' | wc -l))) 'one within the other'
  expect 'the middle one is not there' 3 'koln: nowhere is not searched: *(0x0*); *' \
    k discover additional apps nowhere archive --json
  rows $(($(find "$data/apps" "$data/archive" -name '*.n[st]f' | wc -l))) 'the last one was searched'
  expect 'none is there' 1 'koln: nowhere is not searched: *' k discover additional nowhere
  if [ "$user" != root ]; then
    chmod 0 "$data/apps/hr"
    chmod 0 "$data/archive"
    k discover additional archive apps mail --json >"$out" 2>"$err"
    [ $? -eq 3 ] || complain 'unreadable directories' 'not status 3'
    grep -q archive "$err" || complain 'unreadable directories' 'not named'
    grep -q '"mail/' "$out" || complain 'unreadable directories' 'those behind are not searched'
    chmod 755 "$data/apps/hr" "$data/archive"
  fi
  echo 'no database' >"$data/apps/damaged.nsf"
  expect 'damaged database' 3 'koln: apps/damaged.nsf is not reported: *' \
    k discover additional apps --short --json
  rows $(($(find "$data/apps" -name '*.n[st]f' | wc -l) - 1)) 'damaged database'
  rm "$data/apps/damaged.nsf"
}

properties() {
  expect 'info' 0 '' k info names.nsf
  grep -Eq '^title +Example.s Directory$' "$out" || complain info 'no title'
  grep -Eq '^created +[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\.[0-9]{2}Z$' "$out" ||
    complain info 'no time'
  for path in names.nsf "$data/names.nsf"; do
    expect "info $path" 0 '' k info "$path" --json
    fields "path fullPath mode title class designClass bytesUsed bytesFree quota created modified \
replicaId options" "info $path"
    grep -q "^{\"path\":\"names.nsf\",\"fullPath\":\"$data/names.nsf\",\"mode\":\"database\"" "$out" ||
      complain "info $path" 'other values'
  done
  id=$(sed 's/.*"replicaId":"\([^"]*\)".*/\1/' "$out")
  expect 'no such database' 1 'koln: mail/none.nsf could not be opened: *(0x0103); *' \
    k info mail/none.nsf

  for spelling in "$id" "$(echo "$id" | tr A-F a-f)"; do
    expect "locate $spelling" 0 '' k locate "$spelling"
    [ "$(cat "$out")" = names.nsf ] || complain "locate $spelling" "found $(cat "$out")"
  done
  expect 'no such replica' 1 'koln: there is no database with the replica ID 00000001:*' \
    k locate 00000001:00000001
}

server() {
  expect 'console' 0 '' k console show tasks
  grep -q 'Database Server' "$out" || complain console 'no answer'
  expect 'console, other server' 5 'koln: the server did not take the command: *--server*' \
    k --server CN=Other/O=X console help
  # Longer than a call can translate, and than an answer can be.
  long=$(head -c 70000 /dev/zero | tr '\0' x)
  sed -i "\$aSimConsoleAnswer=$long" "$data/notes.ini"
  expect 'long answer' 0 'koln: the answer may be longer than the 65535 bytes shown; *' k console help
  [ "$(tr -d '\n' <"$out" | wc -c)" -eq 65535 ] || complain 'long answer' 'torn'
  sed -i '/^SimConsoleAnswer/d' "$data/notes.ini"

  file=apps/discussion.nsf
  cp -p "$data/$file" "$work/backup"
  expect 'repair' 0 '' k repair $file
  expect 'repair nothing' 1 'koln: mail/none.nsf was not repaired: *(0x0103); *' k repair mail/none.nsf
  expect 'offline' 0 "koln: this stops all access to $file and REMOVES ITS FILE*" k offline $file --yes
  [ ! -e "$data/$file" ] || complain offline 'the file is still there'
  cp -p "$work/backup" "$data/$file"
  expect 'info, offline' 1 "koln: *(0x13F9); *koln online*" k info $file
  expect 'online' 0 '' k online $file
  expect 'info, online' 0 '' k info $file
  expect 'online nothing' 1 'koln: mail/none.nsf was not brought online: *(0x0103); *' \
    k online mail/none.nsf
}

databases_suite() {
  partition --mailboxes 3 --notes 1 --seed 3
  additional
  properties
  server
}

run
