// Part of the fixture of a component boundary that is crossed.
#include "zol/high/high.h"
