# One update of 100 records and nothing else.
inputs BOARD100.SDR
run update -update -sdr
