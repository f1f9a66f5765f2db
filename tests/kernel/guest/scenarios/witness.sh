# The repository after an update, read by another program too.
inputs BOARD100.SDR
echo y | run update -direct -force -sdr
run backup -backup
ipmitool sdr dump "$RESULTS/ipmitool-dump" >"$RESULTS/ipmitool-console" 2>&1
