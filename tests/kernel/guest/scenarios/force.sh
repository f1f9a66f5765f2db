# Back to an older set by force, and forward again by hand.
inputs OLDBOARD.SDR
run force -update -force -sdr
cp BOARD100.SDR BMCSDR.SDR
echo n | run declined -direct -sdr
echo y | run accepted -direct -sdr
run backup -backup
