#!/bin/sh
# Saves mailboxes with koln and brings them back. Both suites need root.
#   HostBackupTest.sh backup|killed BIN   2,000 notes in 31 folders; runs that are killed
. "$(dirname "$0")/support/host-command.sh"
export LC_ALL=C
k() {
  "$koln" --config "$conf" --data "$data" "$@"
}
mailbox() {  # of so many notes
  partition --mailboxes 1 --notes "$1" --folders 30 --attachments 5 --seed 21
  db=mail/$(basename "$data"/mail/*.nsf)
  install -d -m 700 -o "$user" "$work/sets" "$work/after"
  folders >"$work/folders"
}
half() {
  "$bin/koln-simulate" delete "$data/$db" --every 2 >"$out" 2>"$err" || complain half 'not deleted'
}
folders() {  # which notes are in which
  k views "$db" --json | sed -n 's/.*"folder":true,"name":"\([^"]*\)".*/\1/p' | sed 's/\\\\/\\/g' |
    while read -r folder; do echo "$folder" && k index "$db" "$folder" | sort; done
}
items() {  # All that the notes of a set hold, but not how often they were changed.
  (cd "$1/notes" && awk 'FNR == 1 { print FILENAME; behind = 0 }
    behind { print } /^<\/noteinfo>/ { behind = 1 }' ./*.dxl)
}
whole() {  # Notes and folders are those of the first set.
  folders | cmp -s "$work/folders" - || complain "$1" 'other notes are in the folders'
  expect "$1, save" 0 '' k backup "$db" --to "$work/after"
  items "$replica/set-000001" >"$work/items"
  items "$(ls -d "$work"/after/*/set-* | tail -n 1)" | cmp -s "$work/items" - ||
    complain "$1" 'the notes are not what they were'
}
told() {  # stdout of the last command has lines like these.
  name=$1 && shift
  for line; do grep -q "$line" "$out" || complain "$name" "not told: $line"; done
}

backup_suite() {
  mailbox 2000
  expect index 0 '' k index "$db" '($All)' && rows 2001 index
  # Newest first; the dates are month, day, year and time.
  tail -n +2 "$out" | cut -f 4 | awk '{ print $3, $1, $2, $4, $5, $6 }' | sort -rc 2>"$err" ||
    complain index 'not in the order of the view'
  tail -n +2 "$out" | cut -f 1 | sort >"$work/all"
  k notes "$db" | tail -n +2 | cut -c 1-8 | cmp -s "$work/all" - || complain index 'other notes'
  for side in folder not-folder; do k notes "$db" --$side 'Projects\Alpha' --json; done |
    sed 's/.*"noteId":"\([^"]*\)".*/\1/' | sort | cmp -s "$work/all" - || complain notes 'not each once'
  expect 'no view' 1 "koln: * has no view or folder 'Nix'; *" k index "$db" Nix
  for t in 2026-02-30 2026-01-01T25:00 now; do
    expect "$t" 2 "koln: '$t' is no time; *" k notes "$db" --modified-since "$t"
  done
  expect full 0 '' k backup "$db" --to "$work/sets" --since last
  told full '^saved *2000 notes' '^folders *31,'
  replica=$(echo "$work"/sets/*)
  half
  expect restore 0 '' k restore "$work/sets" --into "$db"
  told restore '^restored *1000 notes: 1000 created' '^the same *1000 notes'
  whole restore

  expect incremental 0 '' k backup "$db" --to "$work/sets" --since last
  # shellcheck disable=SC2046  # words on purpose
  expect changes 0 '' k import $(ls "$replica"/set-000001/notes/*.dxl | head -n 10) --into "$db"
  expect 'ten changes' 0 '' k backup "$db" --to "$work/sets" --since last
  told 'ten changes' '^saved *10 notes' '^deleted *0'
  half
  expect 'a thousand less' 0 '' k backup "$db" --to "$work/sets" --since last --json
  told 'a thousand less' '"notes":0,.*"deleted":1000,"missing":0,'
  expect merged 0 '' k restore "$replica" --into "$db" --dry-run
  told merged '^backup *4 sets' '^to do *0 notes' '^the same *1000 notes'

  # A byte of a note, of a list, of the folders; then a note and a set that are not there.
  note=$(ls "$replica"/set-000003/notes/*.dxl | head -n 1)
  for file in "$note" "$replica/set-000004/set.json" "$replica/set-000001/folders.bin"; do
    cp -p "$file" "$work/kept" && printf '\1' | dd of="$file" bs=1 seek=300 conv=notrunc 2>"$err"
    k restore "$work/sets" --into "$db" >"$out" 2>"$err"
    [ $? -eq 1 ] && grep -q "^koln: $file " "$err" || complain "$file" 'damage is not told'
    cp -p "$work/kept" "$file"
  done
  rm "$note" && k restore "$work/sets" --into "$db" >"$out" 2>"$err"
  [ $? -eq 1 ] && grep -q '^koln: nothing was restored, as 1 file' "$err" || complain lost 'not told'
  rm -r "$replica/set-000002"
  expect gap 1 'koln: the set in front of *set-000003 is missing; *' k restore "$work/sets" --into "$db"
}

killed_suite() {
  mailbox 200 && cp "$data/$db" "$work/untouched" && reached=0
  for count in 1 2 30 90 150 199 200 201 202 203; do
    "$koln" --config "$conf" --data "$data" backup "$db" --to "$work/sets" >"$out" 2>"$err" &
    while kill -0 $! 2>>"$work/said" && [ "$(find "$work/sets" -type f | wc -l)" -lt $count ]; do :; done
    kill -9 $! 2>>"$work/said" && reached=$((reached + 1))
    wait $! 2>>"$work/said"
    for set in "$work"/sets/*/set-*[0-9]; do  # Whatever has its name is whole.
      [ ! -d "$set" ] || expect "$set" 0 '' k restore "$work/sets" --into "$db" --dry-run
    done
  done
  expect backup 0 '' k backup "$db" --to "$work/sets"
  [ -z "$(find "$work/sets" -name '*.tmp')" ] || complain backup 'a half set is left'
  cmp -s "$work/untouched" "$data/$db" || complain backup 'the database has changed'
  replica=$(echo "$work"/sets/*)
  half
  for hundredths in 05 10 20 30 40 60 80; do
    timeout -s KILL "0.$hundredths" "$koln" --config "$conf" --data "$data" restore "$work/sets" \
      --into "$db" >"$out" 2>"$err" || reached=$((reached + 1))
  done
  [ "$reached" -ge 10 ] || complain killed "only $reached runs were killed"
  expect restore 0 '' k restore "$work/sets" --into "$db"
  whole killed
}

run
