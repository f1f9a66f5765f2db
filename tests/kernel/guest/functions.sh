# What scenarios are told with. A scenario runs in the guest, where `tarvek` talks to the kernel's
# driver. Those that say nothing about time run once more on the host, where `tarvek` stands for
# the same program over the simulated driver.
#
# $INPUTS holds the input files, $RESULTS takes what is to be looked at afterwards, and the working
# directory is the scenario's own.

lock=/dev/shm/sem.tarvek_exe

# inputs SET: lays out an operator's directory whose BMCSDR.SDR is the given SDR file.
inputs() {
  cp "$INPUTS"/* .
  cp "$1" BMCSDR.SDR
}

# run NAME [ARGUMENT]...: runs the tool; $RESULTS/NAME gets its console, its exit status, whether
# it left the lock, how many seconds it took, and every file that it wrote.
run() {
  prepare "$1"
  shift
  tarvek "$@" >"$results/console" 2>"$results/errors"
  conclude $?
}

# control NAME [ARGUMENT]...: runs tarvekctl, which writes nothing to the working directory;
# $RESULTS/NAME gets the same.
control() {
  prepare "$1"
  shift
  tarvekctl "$@" >"$results/console" 2>"$results/errors"
  conclude $?
}

# start NAME [ARGUMENT]...: starts the tool ($tool is its process); nothing else may be run or
# started until finish has waited for its end and kept what it left.
start() {
  prepare "$1"
  shift
  tarvek "$@" >"$results/console" 2>"$results/errors" &
  tool=$!
}
finish() {
  wait "$tool"
  conclude $?
}

prepare() {
  results=$RESULTS/$1
  mkdir "$results"
  began=$(date +%s)
}
conclude() {
  echo "$1" >"$results/status"
  echo $(($(date +%s) - began)) >"$results/seconds"
  if [ -e $lock ]; then echo held; else echo free; fi >"$results/lock"
  for file in *.log Get_*.xml Get_*.xml_tmp Update_*.xml; do
    if [ -e "$file" ]; then mv "$file" "$results"; fi
  done
  for file in sdrversion_HW *.BAK CFG.TMP SDR.TMP; do
    if [ -e "$file" ]; then cp "$file" "$results"; fi
  done
}

# await CONDITION [ARGUMENT]...: waits until the command succeeds; a minute at the most.
await() {
  for _ in $(seq 600); do
    if "$@"; then return; fi
    sleep 0.1
  done
  echo "in vain: await $*" >>"$RESULTS/trouble"
}
