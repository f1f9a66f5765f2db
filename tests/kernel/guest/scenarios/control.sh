# A board's new records by tarvekctl, once the BMC has refused them; and the old ones back.
inputs BOARD100.SDR
sha256sum ./* >"$RESULTS/inputs-before"
ipmitool sdr dump "$RESULTS/before" >/dev/null

control doctor doctor --json --boards mchk_fil
control plan plan BMCSDR.SDR --json
ls -A /var/lib/tarvek/runs >"$RESULTS/runs-after-plan"
control failed update BMCSDR.SDR --json
control update update BMCSDR.SDR --json
ipmitool sdr dump "$RESULTS/updated" >/dev/null
control status status --json
control again update BMCSDR.SDR --json
backup=$(sed -n 's/.*"backup":"\([^"]*\)".*/\1/p' "$RESULTS/update/console")
control restore restore "$backup" --json
control history history --json
sha256sum ./* >"$RESULTS/inputs-after"
