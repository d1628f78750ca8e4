#!/bin/sh
# Surveys mailboxes with koln as a user does. Both suites need root.
#
#   HostSurveyTest.sh numbers BIN   they agree with each other, with a dry run and with archiving
#   HostSurveyTest.sh page BIN      when there is a page, and what a browser makes of it
. "$(dirname "$0")/support/host-command.sh"
export LC_ALL=C
page=$work/pages/survey.html

k() { "$koln" --config "$conf" --data "$data" "$@"; }
same() { [ "$2" -eq "$3" ] || complain "$1" "$2 is not $3"; }

mailboxes() {
  partition --mailboxes 5 --notes "$1" --attachments 40 --seed 3
  mkdir -m 700 "$work/pages" "$work/archive"
  chown "$user" "$work/pages" "$work/archive"
  set -- "$data"/mail/*.nsf
  db=mail/${1##*/}
}

# sum FIELD: of all numbers of that name on stdin.
sum() { grep -o "\"$1\":-*[0-9]*" | awk -F: '{ sum += $2 } END { print sum + 0 }'; }

# Of a line: what is older than the limit, the classes from number N on, what stands for the whole.
old() { sed 's/.*"old":\({[^}]*}\).*/\1/'; }
classes() { sed "s/.*\"$1\":\(\[[^]]*]\).*/\1/" | cut -d'{' -f$(($2 + 1))-; }
whole() { sed 's/,"stubs":.*//'; }

numbers_suite() {
  expect 'nothing named' 2 'koln: no database is named; *' "$koln" --data /d survey
  expect 'age' 2 "koln: '1h' is no age; *" "$koln" --data /d survey a.nsf --older-than 1h
  mailboxes 50
  for cut in 3y '1000d --unread' '0d --unread' 5y; do
    # shellcheck disable=SC2086  # words on purpose, here and below
    for path in "$data"/mail/*; do
      k archive "mail/${path##*/}" --older-than $cut --dry-run --json | tail -n 1
    done >"$work/dry"
    # shellcheck disable=SC2086
    expect "$cut" 0 '' k survey --all --json --older-than $cut
    rows 6 "$cut"
    tail -n 1 "$out" >"$work/sum"
    same "notes, $cut" "$(old <"$work/sum" | sum candidates)" "$(sum notes <"$work/dry")"
    same "bytes, $cut" "$(old <"$work/sum" | sum candidateBytes)" "$(sum bytes <"$work/dry")"
  done
  cp "$out" "$work/all"
  same notes "$(whole <"$work/sum" | sum notes)" 250
  for field in notes bytes candidates candidateBytes freed; do
    same "all $field" "$(sed '$d' "$work/all" | whole | sum $field)" \
      "$(whole <"$work/sum" | sum $field)"
    same "old $field" "$(classes byAge 6 <"$work/sum" | sum $field)" \
      "$(old <"$work/sum" | sum $field)"
    for kind in byAge bySize; do
      same "$field $kind" "$(classes $kind 1 <"$work/all" | sum $field)" \
        "$(whole <"$work/all" | sum $field)"
    done
  done
  k archive "$db" --older-than 0d --larger-than 10K --dry-run --json | tail -n 1 >"$work/dry"
  same 'large notes' "$(grep "\"path\":\"$db\"" "$work/all" | classes bySize 2 | sum candidates)" \
    "$(sum notes <"$work/dry")"

  archived_as_estimated "$db" 1y
  expect 'after' 0 '' k survey "$db" --json
  same stubs "$(tail -n 1 "$out" | sum stubs)" "$(sum archived <"$work/done")"
  # Stubs of short mails are larger than these were.
  partition --mailboxes 1 --notes 200 --attachments 0 --seed 3 --force
  set -- "$data"/mail/*.nsf
  archived_as_estimated "mail/${1##*/}" 0d --unread
}

# archived_as_estimated DB AGE [--unread]: archives, and compares what is freed with the estimate.
archived_as_estimated() {
  expect "estimate $1" 0 '' k survey "$1" --json --older-than "$2" ${3-}
  estimate=$(tail -n 1 "$out" | old | sum freed)
  k archive "$1" --older-than "$2" ${3-} --link url --to "$work/archive" --json \
    --base-url https://archive.example.org/notes | tail -n 1 >"$work/done"
  freed=$(($(sum bytesBefore <"$work/done") - $(sum bytesAfter <"$work/done")))
  [ $((estimate * 100)) -ge $((freed * 95)) ] && [ $((estimate * 95)) -le $((freed * 100)) ] ||
    complain "estimate $1" "$estimate for $freed"
}

page_suite() {
  mailboxes 10
  expect 'none there' 1 'koln: mail/none.nsf could not be opened: *' \
    k survey mail/none.nsf --html "$page"
  mkfifo "$work/pipe"
  exec 3<>"$work/pipe"
  timeout 1 cat /dev/zero >&3 # koln waits for somebody who reads, and is told to stop.
  "$koln" --config "$conf" --data "$data" survey "$db" --html "$page" >&3 2>"$err" &
  sleep 1
  kill -s INT $!
  wait $!
  same interrupt $? 130
  exec 3>&-
  [ -z "$(ls "$work/pages")" ] || complain 'no page' "there is $(ls "$work/pages")"

  # A title of the same length, so that it can be put into the file.
  title=$(k info "$db" | sed -n 's/^title  *//p')
  sed -i "s/$title/<s>${title#???}/g" "$data/$db"
  cp -p "$data/$db" "$data/mail/&amp;'\"<s>.nsf"
  expect 'one missing' 3 'koln: mail/none.nsf could not be opened: *' \
    k survey "$db" "mail/&amp;'\"<s>.nsf" mail/none.nsf --unread --html "$page"
  headline=$(sed -n 's/^\(Archiving what is older than 1 year .* ([1-9][0-9]* %)\)\.$/\1/p' "$out")
  [ -n "$headline" ] || complain table 'no headline'
  command -v chromium >/dev/null || { echo 'chromium is missing: no look at the page'; return; }
  # The page forbids scripts; the one that measures the bars needs a page that does not.
  sed '/Content-Security-Policy/d' "$page" >"$work/measured.html"
  echo '<script>for (const bar of document.querySelectorAll(".bar"))
    bar.dataset.wide = bar.getBoundingClientRect().width > 1;</script>' >>"$work/measured.html"
  timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$work/profile" --dump-dom "file://$work/measured.html" >"$out" 2>"$err" ||
    complain browser 'it fails'
  for text in "<h1>$headline</h1>" "<bdi>&lt;s&gt;${title#???}</bdi>" '1 mailbox and 0 notes\.' \
    "<bdi>mail/&amp;amp;'\"&lt;s&gt;.nsf</bdi>" '<tfoot><tr><td>All</td><td>20</td>'; do
    grep -q "$text" "$out" || complain page "no $text"
  done
  ! grep -q '<s>' "$out" || complain page 'a title became a part of it'
  same 'bars of mailboxes' "$(grep -o '<i class="bar [^>]*data-wide="true"' "$out" | wc -l)" 4
  same 'bars of classes' "$(grep -o '<rect[^>]*data-wide="true"' "$out" | wc -l)" \
    "$(grep -o '<rect[^>]* width="[1-9]' "$page" | wc -l)"
}

run
