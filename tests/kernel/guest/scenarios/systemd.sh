# Updates that go on by themselves, as services of systemd: one is stopped, the BMC refuses the end
# of the next, one is complete, and one has nothing to do.
inputs BOARD100.SDR
runs=/var/lib/tarvek/runs

# detach NAME: starts an update of BMCSDR.SDR ($id is its run, $unit its service).
detach() {
  control "$1" update --detach BMCSDR.SDR
  id=$(cat "$results/console")
  unit=tarvek-update@$id.service
}
# state NAME: what systemd says of the service's state.
state() {
  systemctl is-active "$unit" >"$RESULTS/$1"
}
writes() { grep -q 'Writing SDR Record' "$runs/$id/work/tarvek.log"; }
has_ended() { ! systemctl is-active "$unit" | grep -q activating; }
# account NAME: waits for the run and for its service, and keeps what is known of both.
account() {
  control "$1" wait "$id" --json
  await has_ended
  state "$1-state"
  journalctl --output=cat "--unit=$unit" >"$RESULTS/$1-journal"
  cp "$runs/$id/result.json" "$RESULTS/$1-result"
}
# sandbox PROCESS: what of the sandbox can be seen from outside.
sandbox() {
  grep -E '^(NoNewPrivs|Seccomp|CapBnd):' "/proc/$1/status"
  for kind in mnt net ipc pid; do
    if [ "$(readlink "/proc/$1/ns/$kind")" = "$(readlink "/proc/1/ns/$kind")" ]; then
      echo "$kind: the machine's"
    else
      echo "$kind: its own"
    fi
  done
}

detach stopped-detach
await writes
state stopped-while
systemctl show --property=ControlGroup --value "$unit" >group
leader=$(systemctl show --property=MainPID --value "$unit")
sandbox "$leader" >"$RESULTS/sandbox"
while read -r process; do
  tr '\0' ' ' <"/proc/$process/cmdline"
  echo
done <"/sys/fs/cgroup$(cat group)/cgroup.procs" >"$RESULTS/processes"
systemctl stop "$unit"
echo $? >"$RESULTS/stop-status"
account stopped

detach failed-detach
control failed-second update --detach BMCSDR.SDR
account failed

detach complete-detach
account complete

# The same run once more, made ready by hand; what holds the lock meanwhile reads, and is killed.
mkdir elsewhere "$runs/$id-again" "$runs/$id-again/work"
cp mchk_fil ZetaInfo.xml elsewhere
for file in input.SDR mchk_fil ZetaInfo.xml; do
  cp "$runs/$id/work/$file" "$runs/$id-again/work"
done
sed 's/"break_lock":false/"break_lock":true/' "$runs/$id/request.json" >"$runs/$id-again/request.json"
id=$id-again unit=tarvek-update@$id.service
(cd elsewhere && exec tarvek -backup >/dev/null 2>&1) &
reader=$!
await test -e "$lock"
kill -STOP $reader
(
  systemctl start "$unit"
  echo $? >"$RESULTS/start-status"
) &
starter=$!
sleep 3
state nothing-while
kill -KILL $reader
wait $starter
account nothing

stat -c '%a %n' /run/tarvek /var/lib/tarvek /var/log/tarvek >"$RESULTS/directories"
cp /var/log/tarvek/tarvekctl.log "$RESULTS/log"
