// The ribbon documents of the compose and read mail windows.
#pragma once

#include <string>

std::wstring fncBuildComposeXML();
std::wstring fncBuildReadXML();
