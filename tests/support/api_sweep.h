// The step "sweep" of a script: everything that can go wrong with the calls of a request does.
#pragma once

#include <string>

// The requests, and which calls may fail without a failure: "GET /if /lag but f g after POST /x".
// Before each attempt the requests behind "after" are made; "switch" as the first of them puts the
// switch back.
void api_sweep(int line, const std::string& what);
