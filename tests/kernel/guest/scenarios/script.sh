# An update by the configuration script that the BMC's own records name.
inputs OLDBOARD.SDR
run update -update -cfg
