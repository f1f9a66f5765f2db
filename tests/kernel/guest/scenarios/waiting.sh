# A backup that is stopped while it waits for an answer that will not come.
inputs BOARD100.SDR
start backup -backup
await grep -q 'SDRReocrd Reading' tarvek.log
sleep 2
kill -TERM "$tool"
finish
