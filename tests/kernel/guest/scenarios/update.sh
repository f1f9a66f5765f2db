# A new board set of 100 records, by a normal update; the version is asked before and after.
inputs BOARD100.SDR
run query-before -version -sdr
run update -update -sdr
run query-after -version -sdr
run refused -update -sdr
