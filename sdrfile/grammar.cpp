#include "sdrfile/sdr_file.h"
