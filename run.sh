#!/usr/bin/env bash
# Installs what is missing, builds, and shows a synchronisation.
#   ./run.sh                 makes a device from samples/, synchronises it with a folder, edits both sides, again
#   ./run.sh COMMAND ...     passes everything to kezsync, for instance: ./run.sh sync --device D FOLDER
set -euo pipefail
called_from=$PWD
cd "$(dirname "$0")"
source tools/install.sh
install_packages
cmake --preset release >/dev/null
cmake --build --preset release --parallel >build/release/build.log 2>&1 || { cat build/release/build.log; exit 1; }
kezsync=$PWD/build/release/bin/kezsync
if [ $# -gt 0 ]; then
    cd "$called_from"
    exec "$kezsync" "$@"
fi

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
show() { printf '$ kezsync %s\n' "$*"; "$kezsync" "$@"; }

place=$(mktemp -d "${TMPDIR:-/tmp}/kezsync-XXXXXX")
export KEZSYNC_DEVICE=$place/device
folder=$place/folder

say "A new device, with the samples on it as its owner would have entered them"
show init "$KEZSYNC_DEVICE" --time-zone Europe/Berlin
show import samples
show list

say "The first synchronisation with a new folder"
show sync "$folder"
ls "$folder"

say "One change in the folder, one on the device"
card=$(grep -l 'FN:Ada Lovelace' "$folder"/*.vcf)
sed -i 's/+44 7700 900001/+44 7700 900999/' "$card"
echo "edited $(basename "$card"): Ada has a new mobile number"
grace=$("$kezsync" list contacts | awk '/Hopper/ {print $1}')
show set "$grace" OfficeLocation='Arlington' --quiet
echo "on the device: Grace has an office in Arlington"

say "The second synchronisation carries both over"
show sync "$folder" --verbose
ada=$("$kezsync" list contacts | awk '/Lovelace/ {print $1}')
"$kezsync" show "$ada" | grep MobileTelephoneNumber
grep -H Arlington "$folder"/*.vcf | sed "s|$folder/||"

say "Where everything lies"
cat <<END
  the device   $KEZSYNC_DEVICE
  the folder   $folder
  the command  $kezsync

Try next:
  export KEZSYNC_DEVICE=$KEZSYNC_DEVICE
  $kezsync sync $folder --dry-run
  $kezsync show $ada
  $kezsync sync $folder --log-level 50 && $kezsync log
  khard -c <(printf '[addressbooks]\n[[p]]\npath = $folder\n') list
  $kezsync --help
END
