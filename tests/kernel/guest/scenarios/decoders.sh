# What other programs say of the records, each in its own words.
mkdir -p /etc /tmp "$RESULTS/peers"
echo 'root:x:0:0:root:/:/bin/sh' >/etc/passwd # ipmi-sensors looks up who runs it

# peer NAME COMMAND [ARGUMENT]...: $RESULTS/peers gets what the command says and its exit status.
peer() {
  said=$RESULTS/peers/$1
  shift
  "$@" >"$said" 2>"$said.errors"
  echo $? >"$said.status"
}
peer ipmitool ipmitool -v sdr list all
peer ipmitool-dump ipmitool sdr dump "$RESULTS/peers/dump"
# Twice -v lists the records that are no sensors, too.
peer ipmi-sensors ipmi-sensors -vv --sdr-cache-file=/tmp/cache --quiet-cache --non-abbreviated-units
