# Sourced by run.sh and test.sh: installs the Debian packages of packages.txt that are missing.

install_packages() {
    local wanted missing=()
    wanted=$(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' packages.txt)
    for package in $wanted; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
