# A BMC that misses one request in the middle of an update, and the next update.
inputs BOARD100.SDR
run update -update -sdr
echo y | run next-update -direct -sdr
