#include <CLI/CLI.hpp>
#include <memory>

#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
