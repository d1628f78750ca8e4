#!/bin/sh
# Runs the commands of koln for single notes as a user does; both suites need root.
#   HostNotesTest.sh show|transfer BIN   what is told of notes; notes as files and back
. "$(dirname "$0")/support/host-command.sh"
k() {
  "$koln" --config "$conf" --data "$data" "$@"
}

# mailboxes NOTES: two of them, and the IDs of the notes of the first.
mailboxes() {
  partition --mailboxes 2 --notes "$1" --attachments 40 --seed 3
  from=mail/$(ls "$data/mail" | head -n 1) into=mail/$(ls "$data/mail" | tail -n 1)
  expect list 0 '' k show "$from" --json && rows "$1" list
  ids=$(sed 's/^{"noteId":"\([0-9A-F]*\)".*/\1/' "$out")
}

show_suite() {
  mailboxes 60
  for note in $ids; do
    k show "$from" "$note" --json >"$out" 2>"$err" && cat "$out" >>"$work/all"
    # Every attachment is the object of an item.
    told=$(sed 's/.*"attachmentBytes":\([0-9]*\).*/\1/' "$out")
    read=$(grep -o '"object":{"bytes":[0-9]*' "$out" | awk -F: '{n += $3} END {print n + 0}')
    [ "$told" -eq "$read" ] || complain "show $note" "$told bytes of attachments, not $read"
  done
  for text in '"unread":true' '"unread":false' '"type":"SEALDATA"' '"attachmentBytes":[1-9]' \
    '"MIME_PART","flags":"","bytes":[0-9]*,"text":"Content-Type: text/plain; charset=UTF-8'; do
    grep -q "$text" "$work/all" || complain show "no note has $text"
  done
  both=$(sed -n 's/^{"noteId":"\([^"]*\)","unid":"\([^"]*\)".*"Amounts".*/\1 \2/p' "$work/all")
  time='[0-9]*-[0-9]*-[0-9]*T[0-9:.]*Z'
  for note in ${both:-none}; do
    expect "items of $note" 0 '' k show "$from" "$note" --items
    sed -i 's/  */ /g; s/ $//' "$out"
    for line in 'EmptyText TEXT 0 summary' 'Keywords TEXT_LIST 18 summary Köln; ; 東京' \
      'Importance NUMBER 8 summary -0.5' 'Amounts NUMBER_RANGE 44 summary 1; 2.25; 1e+300; 10 to 20' \
      'DueDate TIME 8 summary 20[0-9-]*' 'CallAt TIME 8 summary [0-9:.]*' "created $time" 'stub no' \
      "Meetings TIME_RANGE 36 summary $time; $time; .*" 'class document' "universal ID ${both#* }"; do
      grep -q "^$line$" "$out" || complain "items of $note" "not shown: $line"
    done
  done
  for note in 8 "$(printf %032d 1)"; do expect "$note" 1 'koln: there is*' k show "$from" "$note"; done
  for note in 0 xyz 0x8F6 123456789; do expect "$note" 2 'koln: *' k show "$from" "$note"; done
}

# damaged NAME: the file is refused, and nothing imported, not even the good one beside it.
damaged() {
  k import "$good" "$work/bad/$1" --into "$into" >"$out" 2>"$err"
  { [ $? -eq 1 ] && grep -q "^koln: $work/bad/$1 " "$err" && grep -q '^koln: nothing was' "$err"; } ||
    complain "$1" 'not refused'
}

transfer_suite() {
  mailboxes 30
  mkdir "$work/files" "$work/full" "$work/bad" && chown "$user" "$work/files" "$work/full"
  # shellcheck disable=SC2086  # words on purpose
  expect export 0 '' k export "$from" $ids --to "$work/files"
  good=$(tail -n 1 "$out")
  unid=$(basename "$good" .dxl) size=$(wc -c <"$good")
  for n in 0 34 36 70 80 95 106 115 124 131 132 133 $((size / 2)) $((size - 1)); do
    { head -c "$n" "$good" && printf '\1' && tail -c +$((n + 2)) "$good"; } >"$work/bad/byte$n"
    head -c "$n" "$good" >"$work/bad/cut$n"
    damaged "byte$n" && damaged "cut$n"
  done
  { cat "$good" && echo; } >"$work/bad/longer"
  damaged longer && damaged nothing && damaged ''
  for round in replace:created:60 replace:replaced:60 update:updated:60 create:copied:90; do
    done=${round#*:}
    expect "$round" 0 '' k import "$work"/files/*.dxl --into "$into" --mode "${round%%:*}"
    [ "$(grep -c "  ${done%:*} " "$out")" -eq 30 ] || complain "$round" 'it is not done to all'
    k show "$into" --json >"$out" && rows "${done#*:}" "$round"
    for file in "$work"/files/*.dxl; do
      for box in "$from" "$into"; do  # The identity in front of the items may differ.
        k show "$box" "$(basename "$file" .dxl)" --json 2>"$err" | sed 's/.*,"items"://'
      done | uniq | wc -l | grep -q '^1$' || complain "$round" "$file: another note"
    done
  done

  expect plain 0 '' k export "$from" "$unid" --plain --to -
  tail -n +2 "$out" | cmp -s - "$good" 0 133 || complain plain 'not that of the staged note'
  ! command -v xmllint >/dev/null || xmllint --noout "$out" || complain plain 'not well-formed'
  expect 'one is not there' 3 'koln: there is no note *' k export "$from" 7 "$unid" --to "$work/files"
  # A disk that takes no more than the beginning.
  (trap '' XFSZ && ulimit -f 1 && k export "$from" "$unid" --to "$work/full") >"$out" 2>"$err"
  [ $? -eq 1 ] && grep -q "^koln: $work/full/$unid.dxl .*: File too large; " "$err" &&
    [ -z "$(ls -A "$work/full")" ] || complain 'full disk' 'not told, or something is left'
  [ "$user" = root ] || expect 'no rights' 5 'koln: *user*' k export "$from" "$unid" --to "$work/bad"
}

run
