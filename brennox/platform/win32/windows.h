// The system's headers, in the one order that compiles.
#pragma once

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>
