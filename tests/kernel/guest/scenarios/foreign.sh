# A BMC that nobody here wrote, which knows the standard commands only.
inputs BOARD100.SDR
run query -version -sdr
run backup -backup
echo y | run update -direct -force -sdr
