# A version query alone.
inputs BOARD100.SDR
run query -version -sdr
