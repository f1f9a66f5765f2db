# One forced update of 100 records by hand, the only mode without a hold at its end.
inputs BOARD100.SDR
echo y | run update -direct -force -sdr
