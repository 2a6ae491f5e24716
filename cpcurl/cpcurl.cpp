#include "cpcurl.h"
