# What others see while an update runs: its progress, and that the tool is busy.
inputs BOARD100.SDR
mkdir elsewhere
cp ./* elsewhere 2>/dev/null
start update -update -sdr
await test -e Get_ratio.xml_tmp
(
  cd elsewhere
  run second-update -update -sdr
  run second-query -version -sdr
)
while [ -e Get_ratio.xml_tmp ]; do
  tarvek -ratio >/dev/null
  cat Get_ratio.xml >>"$results/ratios"
  sleep 0.2
done
rm -f Get_ratio.xml tarvek_ratio.log
finish
run ratio-afterwards -ratio
