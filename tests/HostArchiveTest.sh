#!/bin/sh
# Archives mailboxes with koln as a user does. All suites need root.
#
#   HostArchiveTest.sh refusals BIN   what is refused before any work, or told instead of hidden
#   HostArchiveTest.sh archive BIN    a thousand notes, archived and brought back item by item
#   HostArchiveTest.sh killed BIN     fifty runs, each killed at another moment
. "$(dirname "$0")/support/host-command.sh"
export LC_ALL=C
archive=$work/archive
# Sanitizers make everything several times slower; what they find shows in fewer notes as well.
if [ -n "${KOLN_SANITIZED:-}" ]; then
  notes=400 runs=12
else
  notes=1000 runs=50
fi

k() {
  "$koln" --config "$conf" --data "$data" "$@"
}

# away OPTION...: archives what is older than a year.
away() {
  k archive "$db" --older-than 1y --to "$archive" --base-url https://example.org/notes/ "$@"
}

# mailbox NOTES: makes a partition with one, and keeps what its notes hold.
mailbox() {
  partition --mailboxes 1 --notes "$1" --attachments 40 --seed 11
  db=mail/$(basename "$data"/mail/*.nsf)
  for directory in archive before after; do
    mkdir -m 700 "$work/$directory"
    chown "$user" "$work/$directory"
  done
  content before
}

# content NAME: all items of all notes, attached files included, into the file NAME.items.
content() {
  # shellcheck disable=SC2046  # words on purpose
  k export "$db" $(k show "$db" | sed '1d; s/ .*//') --to "$work/$1" >"$out" 2>"$err" ||
    complain "$1" 'not all notes can be exported'
  (cd "$work/$1" && awk 'FNR == 1 { print FILENAME; behind = 0 }
    behind { print } /^<\/noteinfo>/ { behind = 1 }' ./*.dxl >"$work/$1.items")
}

# restored NAME: brings all copies back; then every note holds what it did at first.
restored() {
  expect "$1, import" 0 '' k import "$folder"/*.dxl --into "$db"
  content after
  cmp -s "$work/before.items" "$work/after.items" || complain "$1" 'not the same notes come back'
}

# sum NAME FIELD VALUE: what the last line of the last command says.
sum() {
  tail -n 1 "$out" | grep -q "\"$2\":$3[,}]" || complain "$1" "$2 is not $3: $(tail -n 1 "$out")"
}

# sound NAME: every line of the manifest describes a whole file, every file a stub, each but once.
sound() {
  folder=$(echo "$archive"/*-*)
  sed -n 's/^{"unid":"\([^"]*\)".*"file":"\1.dxl".*"dxlBytes":\([0-9]*\),"checksum":"\([^"]*\)".*"bytes'\
'After":[0-9]*,"link":"[a-z]*","url":"https:[^"]*\/\1.dxl","archived":"[^"]*Z"}$/\1 \2 \3/p' \
    "$folder/manifest.jsonl" | sort >"$work/listed"
  [ "$(wc -l <"$work/listed")" -eq "$(wc -l <"$folder/manifest.jsonl")" ] ||
    complain "$1" 'a line of the manifest is not like the others'
  awk 'FNR == 1 { print $7, $11 + 0, $12 }' "$folder"/*.dxl | sort >"$work/filed"
  cmp -s "$work/listed" "$work/filed" || complain "$1" 'manifest and files differ'
  k show "$db" --json >"$work/shown"
  sed -n 's/.*"unid":"\([^"]*\)".*"stub":"[^"]*\/\1.dxl".*/\1/p' "$work/shown" | sort >"$work/stubs"
  cut -d ' ' -f 1 "$work/listed" | cmp -s - "$work/stubs" || complain "$1" 'files and stubs differ'
  [ -z "$(find "$folder" -name '*.tmp')" ] || complain "$1" 'temporary files are left'
}

refusals_suite() {
  expect 'no age' 2 'koln: --older-than is required*' k archive a.nsf
  for age in 5 d 1h 90dd -1d 99999999999999999999y ''; do
    expect "age '$age'" 2 'koln: *' k archive a.nsf "--older-than=$age" --dry-run
  done
  expect 'size' 2 "koln: '5X' is no size; *" k archive a.nsf --older-than 1d --larger-than 5X --dry-run
  expect 'no place' 2 'koln: to archive, --to, *' k archive a.nsf --older-than 1d
  for url in notes 'https://a b' 'https://a"b' "https://$(printf '%0900d' 0)"; do
    expect "URL $url" 2 "koln: '*' cannot be the beginning of a link; *" \
      k archive a.nsf --older-than 1d --to x --link url --base-url "$url"
  done

  mailbox 60
  expect 'dry run' 0 '' k archive "$db" --older-than 1y --dry-run --json
  [ -z "$(ls "$archive")" ] || complain 'dry run' 'it has written'
  if [ "$user" != root ]; then
    chown root "$archive"
    expect 'no access' 5 "koln: *$archive*Permission denied; give the partition's user*" away --link url
    chown "$user" "$archive"
  fi
  expect 'first run' 0 '' away --link url --unread
  sound 'first run'
  (flock 9 && expect 'second run' 1 'koln: another run is archiving this database to *' \
    away --link url && exit "$failures") 9>>"$folder/.lock" || failures=$((failures + 1))

  # Torn by a power failure; then damage that nothing can mend.
  printf '{"unid":"0123' >>"$folder/manifest.jsonl"
  : >"$folder/left.dxl.tmp"
  expect 'torn line' 0 '' away --link url --json
  sum 'torn line' archived 0
  sound 'torn line'
  set -- "$folder"/*.dxl
  printf x | dd of="$1" bs=1 seek=1000 conv=notrunc 2>"$err"
  rm "$2"
  sed -i "/$(basename "$3")/d; s/.*$(basename "$4").*/{}/" "$folder/manifest.jsonl"
  away --link url --json >"$out" 2>"$err"
  [ $? -eq 3 ] || complain damage 'not status 3'
  for told in "$1 .*restore the file" "$2 is in the manifest, but not there" 'line [0-9]* of .* damaged'; do
    grep -q "$told" "$err" || complain damage "not told: $told"
  done
  [ "$(wc -l <"$err")" -eq 3 ] || complain damage 'more or less is told'
  sum 'lost lines' completed 2
}

archive_suite() {
  mailbox "$notes"
  all=$(k archive "$db" --older-than 1y --unread --dry-run --json | tail -n 1 |
    sed 's/.*"notes":\([0-9]*\).*/\1/')
  expect 'large ones' 0 '' away --larger-than 20K --link mime --json
  large=$(($(wc -l <"$out") - 1))
  expect 'read ones' 0 '' away --link button --json
  read_=$(($(wc -l <"$out") - 1))
  sum 'read ones' stubs "$large"
  expect 'all old ones' 0 '' away --unread --link url --json
  sum 'all old ones' archived $((all - large - read_))
  sum 'all old ones' unread 0
  sound 'all old ones'
  [ "$((large > notes / 20 && read_ > notes / 10))" -eq 1 ] || complain archive 'hardly any notes'
  ! grep -v '"stub":null' "$work/shown" | grep -v '"attachmentBytes":0' ||
    complain archive 'a stub has attachments'
  expect 'again' 0 '' away --unread --link url --json
  sum again archived 0
  sum again stubs "$all"
  restored archive
  expect 'after the restore' 0 '' away --larger-than 20K --link url --json
  sum 'after the restore' archived "$large"
}

killed_suite() {
  mailbox $((notes * 3 / 5))
  reached=0
  for run in $(seq "$runs"); do
    # Some copies further on, and then a little later, so that every part of the work is met.
    goal=$(($(find "$archive" -name '*.dxl' | wc -l) + run % 12))
    "$koln" --config "$conf" --data "$data" archive "$db" --older-than 1y --unread --link url \
      --to "$archive" --base-url https://example.org/notes >"$out" 2>"$err" &
    while kill -0 $! 2>>"$work/said" && [ "$(find "$archive" -name '*.dxl' | wc -l)" -lt $goal ]; do :; done
    sleep "0.0$((run * 7 % 31))"
    kill -9 $! 2>>"$work/said" && reached=$((reached + 1))
    wait $! 2>>"$work/said"
    ! grep -q koln: "$err" || complain "run $run" 'it complains'
    k show "$db" --json | sed -n 's/.*"stub":"\([^"]*\)".*/\1/p' >"$work/stubs"
    while read -r copy; do
      [ -s "$archive/$copy" ] || complain "run $run" "$copy is missing"
    done <"$work/stubs"
  done
  [ "$reached" -ge $((runs * 4 / 5)) ] || complain killed "only $reached runs were killed"
  expect 'last run' 0 '' away --unread --link url --json
  sound killed
  restored killed
}

run
