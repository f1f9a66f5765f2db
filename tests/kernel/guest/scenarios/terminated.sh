# An update that is stopped in its middle, and the next one.
inputs BOARD100.SDR
start update -update -sdr
await grep -q 'Writing SDR Record' tarvek.log
sleep 1
kill -TERM "$tool"
finish
rm -f sdrversion_HW
run query -version -sdr
echo y | run next-update -direct -sdr
