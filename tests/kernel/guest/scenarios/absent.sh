# A machine without a BMC.
inputs BOARD100.SDR
run query -version -sdr
