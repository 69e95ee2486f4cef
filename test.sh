#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. The last lines are ctest's own.
#   ./test.sh                  everything
#   ./test.sh --install-only   only installs what is needed
#   ./test.sh fast             only the tests with that label
set -euo pipefail
cd "$(dirname "$0")"
source tools/install.sh
install_packages
[ "${1:-}" = --install-only ] && exit 0

cmake --preset dev >/dev/null
cmake --build --preset dev --parallel
ctest --preset dev --parallel "$(nproc)" ${1:+-L "$1"}
