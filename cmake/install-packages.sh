# Sourced by the scripts at the root: installs the Debian packages named as arguments that are
# missing. Where this is no Debian, or there is no right to install, it names them and goes on.
missing=()
for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    run=()
    [ "$(id -u)" -eq 0 ] || run=(sudo)
    if command -v apt-get >/dev/null && { [ ${#run[@]} -eq 0 ] || command -v sudo >/dev/null; }; then
        echo "== installing: ${missing[*]}"
        "${run[@]}" apt-get -qq update
        DEBIAN_FRONTEND=noninteractive "${run[@]}" apt-get -qq install -y \
            --no-install-recommends "${missing[@]}" >/dev/null
    else
        echo "These packages are needed and could not be installed here: ${missing[*]}" >&2
    fi
fi
