# A BMC that dies in the middle of an update; when it is back, the next update.
inputs BOARD100.SDR
run update -update -sdr
echo 'The BMC may come back.' >/dev/ttyS0
bmc_is_back() {
  tarvek -version -sdr >/dev/null
  grep -q '<result_code>OK</result_code>' Get_version.xml
}
await bmc_is_back
rm -f tarvek_version.log Get_version.xml
echo y | run next-update -direct -sdr
