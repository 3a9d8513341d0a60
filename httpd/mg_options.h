// The server's options.
#pragma once

// Gives the options that have no value their defaults; false when memory is short.
bool set_default_option_values(char** options);
