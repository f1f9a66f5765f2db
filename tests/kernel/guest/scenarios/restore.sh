# A backup, another set in the BMC, and the backup put back.
inputs OLDBOARD.SDR
run backup -backup
echo y | run other-set -direct -force -sdr
mv BMCSDR.BAK BMCSDR.BIN
run restore -update -force -bin
run backup-again -backup
