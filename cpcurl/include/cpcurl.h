// The curl easy interface that the system sends with, and the one option that standard curl lacks.
#pragma once

#include <curl/curl.h>
