#!/bin/bash
# package_test.sh DIRECTORY: that the Debian packages in a directory, of the preset release, are as they should be. lintian
# accepts them, another folder on another day makes the same, the header's package serves a C compiler. Installing keeps
# configuration, a platform library is recorded by its name, a sysroot's versions are asked for. In a scratch machine with
# systemd the daemon installs, runs under its unit, may do there all that it must, outlives what it should, is upgraded
# between two requests, and leaves nothing when it is purged.
# shellcheck disable=SC2016 # what a check gets is evaluated there
set -euo pipefail

# The test that runs in the scratch machine.
inside() {
    failures=0
    check() { # check COMMAND: a bash command that shall succeed, within some seconds if need be
        for _ in {1..50}; do
            if (eval "$*") >/tmp/said 2>&1; then
                echo "ok: $*"
                return
            fi
            sleep 0.1
        done
        echo "FAILED: $*"
        sed 's/^/    /' /tmp/said
        failures=$((failures + 1))
    }
    pid() { systemctl show -P MainPID q7net-shellexec; }
    new_one_serves() { check '[ "$(pid)" != '"$old"' ] && q7rdctl link lo up'; }
    script() { # script NAME LINE...: one of the platform's
        printf '%s\n' '#!/bin/sh' "${@:2}" >"/etc/sysapps_script/network/$1"
        chmod +x "/etc/sysapps_script/network/$1"
    }

    echo "# installed and running"
    check '[ "$(stat -c "%U %G %a" /run/q7net/q7rd.socket)" = "root q7net 770" ]'
    check 'systemctl show -P Result q7mdnspublish | grep -qx exec-condition' # without an address there is nothing to do
    check 'ls /usr/share/bash-completion/completions/q7rdctl /usr/share/man/man{1,7,8}/q7*'
    check systemd-analyze verify --man=no /usr/lib/systemd/system/{q7net-shellexec,q7mdnspublish}.service

    echo "# who may"
    useradd -m member -G q7net
    check 'runuser -u member q7rdctl link lo up'
    check 'runuser -u member cat /run/q7net/q7neterrs'
    check '[ "$(stat -c "%U %G %a" /run/q7net /run/q7net/dhcp /run/q7net/tmp | sort -u)" = "root q7net 750" ]'
    check 'runuser -u nobody q7rdctl link lo up; [ $? = 3 ]'

    echo "# what the unit must let it do"
    mkdir -p /etc/sysapps_script/network
    script systemautoconf.sh 'echo works >/tmp/from-script'
    ip link add eth0 type veth peer name peer0
    ip link set peer0 up
    check 'q7rdctl link eth0 up && ip link show eth0 | grep -q LOWER_UP'
    check 'q7rdctl static-addrs eth0 --address 10.0.0.1/24 --dad && ip addr show eth0 | grep -q 10.0.0.1/24'
    check 'q7rdctl hostname ctl-9 && [ "$(hostname)" = ctl-9 ]'
    check 'q7rdctl domainname lab && [ "$(cat /proc/sys/kernel/domainname)" = lab ]'
    check 'q7rdctl hosts-file ctl-9 && grep -q ctl-9 /etc/hosts'
    check 'q7rdctl init-ifaces --seed-a x --eth0 && grep -qx 1 /proc/sys/net/ipv6/conf/eth0/disable_ipv6'
    check 'q7rdctl firewall usb-nat apply && iptables -t nat -S | grep -q 169.254.0.0/16'
    check 'q7rdctl arping eth0 10.0.0.1 10.0.0.2'
    check 'q7rdctl service restart avahi-daemon --wait'
    check 'q7rdctl autoconfig && [ "$(cat /tmp/from-script)" = works ]' # platform scripts have a /tmp
    check '! grep -E "Operation not permitted|Permission denied|Read-only file system|failed to execv" /run/q7net/q7neterrs'

    echo "# what it starts outlives it, and it comes back"
    touch /etc/systemd/network/slbc.conf
    check 'q7rdctl slbc up eth0 && pgrep dhclient'
    dhclient=$(pgrep dhclient)
    old=$(pid)
    check systemctl restart q7net-shellexec
    new_one_serves
    check '[ "$(pgrep dhclient)" = '"$dhclient"' ]'
    for end in 'kill -KILL $(pid)' 'q7rdctl terminate'; do
        old=$(pid)
        eval "$end" >/dev/null
        new_one_serves
    done
    check 'q7rdctl slbc down eth0 && ! pgrep dhclient'

    echo "# a stop waits for the command under way, but not for ever"
    script fwctrl.sh 'sleep 3' 'touch /tmp/finished'
    q7rdctl firewall ping apply >/dev/null &
    sleep 0.5
    check systemctl restart q7net-shellexec
    check '[ -e /tmp/finished ] && q7rdctl link lo up'
    script fwctrl.sh 'exec sleep 1000'
    q7rdctl firewall ping apply >/dev/null 2>&1 &
    sleep 0.5
    check timeout 60 systemctl restart q7net-shellexec
    check 'q7rdctl link lo up && pkill -x sleep' # which goes on as all that the daemon started
    check '[ "$(grep -cE "^Max (data size +100663296|file size +4194304|core file size +0) " /proc/$(pid)/limits)" = 3 ]'

    echo "# the publisher"
    ip link add usbpt type veth peer name peerusb
    ip addr add 169.254.77.1/24 dev usbpt
    for link in peerusb usbpt; do ip link set "$link" up; done
    echo ADDRESS=169.254.77.1 >/etc/default/q7mdnspublish
    check systemctl restart q7mdnspublish
    check 'avahi-resolve -4 -n ovrak.local | grep -q 169.254.77.1'

    echo "# the log is rotated while it is written, and no record is lost"
    before=$(wc -l </run/q7net/q7neterrs)
    { for i in {1..300}; do q7rdctl --tag "$i" sideband delete --macve0 >/dev/null 2>&1 || true; done; } &
    writer=$!
    for i in 1 2; do
        sleep 0.5
        check logrotate --force /etc/logrotate.d/q7net-shellexec
    done
    wait "$writer"
    check '[ "$(cat /run/q7net/q7neterrs{.2.gz,.1,} | zcat -f | wc -l)" = '"$((before + 600))"' ]'
    check '[ "$(stat -c "%U %a" /run/q7net/q7neterrs)" = "root 644" ]'

    echo "# upgraded: a command that runs is finished, an edited configuration kept, and the new daemon serves"
    package=$(echo /var/cache/scratch/q7net-shellexec_*.deb)
    dpkg-deb -R "$package" /tmp/newer
    sed -i 's/^Version: .*/Version: 99/' /tmp/newer/DEBIAN/control
    dpkg-deb -b /tmp/newer /tmp/newer.deb >/dev/null
    script fwctrl.sh 'sleep 3'
    old=$(pid)
    q7rdctl firewall ping apply >/tmp/answer 2>&1 &
    asked=$!
    check 'pgrep fwctrl.sh'
    check 'dpkg -i /tmp/newer.deb </dev/null'
    wait "$asked" || true
    check 'grep "^done" /tmp/answer'
    new_one_serves
    check 'dpkg -s q7net-shellexec | grep -qx "Version: 99"'
    check '! readlink /proc/$(pid)/exe | grep deleted'
    check 'grep -qx ADDRESS=169.254.77.1 /etc/default/q7mdnspublish'

    echo "# removed and purged"
    check dpkg --remove q7net-shellexec q7net-shellexec-dev libq7net1
    check '! pgrep q7net-shellexec && ! [ -e /run/q7net/q7rd.socket ] && [ -e /etc/default/q7mdnspublish ]'
    check dpkg --purge q7net-shellexec q7net-shellexec-dev libq7net1
    check '[ -z "$(find / -xdev -path /proc -prune -o -path /var/cache -prune -o -name "*q7*" -print)" ]'
    check '! [ -e /run/q7net ]'
    check '[ -z "$(systemctl list-units --all --no-legend "q7*")" ]'
    [ "$failures" = 0 ]
}

if [ "${1-}" = inside ]; then
    inside
    exit
fi

packages=$(cd "${1:?the directory of the packages}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$here/../.." && pwd)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
quietly() { # quietly WHAT COMMAND...: its output is shown when it fails
    "${@:2}" >"$root/log" 2>&1 || { tail -n 20 "$root/log"; fail "$1"; }
}
lintian --fail-on error,warning --allow-root "$packages"/*.*deb
echo "lintian: nothing to complain of"

# The same sources in another folder, forty days later.
mkdir "$root/other"
tar -C "$source" -c --exclude=./build --exclude=./.git . | tar -C "$root/other" -x
quietly "built in another folder" env -C "$root/other" faketime -f +40d bash -ec 'cmake --preset release
    cmake --build --preset release -- --quiet
    cpack --config build/release/CPackConfig.cmake -B build/packages'
for package in "$packages"/*.*deb; do
    cmp "$package" "$root/other/build/packages/${package##*/}" || fail "${package##*/} differs from one made elsewhere"
    (cd "$packages" && sha256sum "${package##*/}")
done

# Symbols: where the daemon's main stands, by the build ID that leads from the program to them.
for package in "$packages"/*.*deb; do
    dpkg-deb -x "$package" "$root/all"
done
id=$(readelf -n "$root/all/usr/sbin/q7net-shellexec" | sed -n 's/.*Build ID: //p')
symbols=$root/all/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
main=$(addr2line -e "$symbols" "0x$(nm "$symbols" | sed -n 's/ T main$//p')")
[[ $main == *daemon/main.cpp:* ]] || fail "no symbols: $main"
echo "main stands at $main"

# The header and the library, found in C by their pkg-config files where the packages put them.
packaged() { PKG_CONFIG_LIBDIR=$(printf '%s:' "$root"/all/usr/{share,lib/*}/pkgconfig) pkg-config "$@"; }
flags=$(PKG_CONFIG_SYSROOT_DIR=$root/all packaged --cflags q7net-protocol)
# shellcheck disable=SC2086 # words
cc $flags -fsyntax-only -x c - <<<'#include <q7net/protocol.h>'
[ "${flags% }" = "-I$root/all/usr/include" ] || fail "$flags"
# shellcheck disable=SC2046 # words
cc -Wall -Wextra -Werror -o "$root/link" "$source/lib/examples/link.c" $(packaged --cflags --libs q7net)
echo "q7net-protocol.pc: $flags; q7net.pc: $(readelf -d "$root/link" | grep -o 'libq7net.*[0-9]')"

# Installed twice, and below another prefix.
release=$root/other/build/release
DESTDIR=$root/image cmake --install "$release" >/dev/null
echo ADDRESS=192.0.2.1 >"$root/image/etc/default/q7mdnspublish"
DESTDIR=$root/image cmake --install "$release" >/dev/null
grep -qx ADDRESS=192.0.2.1 "$root/image/etc/default/q7mdnspublish" || fail "configuration is overwritten"
! cmake --install "$release" --prefix "$root/prefix" | grep -E -- '-- [^:]*: /(etc|usr)/' || fail "installed beside the prefix"
[ -e "$root/prefix/etc/default/q7mdnspublish" ] || fail "no configuration below the prefix"
echo "cmake --install: keeps configuration, and to its prefix"

# The daemon alone, with a platform library that has no SONAME.
mkdir "$root/platform"
c++ -shared -fPIC -I"$source/platform/vaskdlog" -o "$root/platform/libvaskdlog.so" "$source/platform/vaskdlog/vaskdlog.cpp"
quietly "the daemon alone" cmake -S "$source" -B "$root/alone" -G Ninja -DQ7NET_VASKDLOG=system -DQ7NET_CLIENT=OFF -DQ7NET_MAN=OFF \
    -DCMAKE_PREFIX_PATH="$root/platform" -DVASKDLOG_LIBRARY="$root/platform/libvaskdlog.so" \
    -DVASKDLOG_INCLUDE_DIR="$source/platform/vaskdlog" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3
quietly "the daemon alone" cmake --build "$root/alone" -- --quiet
readelf -d "$root/alone/q7net-shellexec" | grep -F 'NEEDED' | grep -F '[libvaskdlog.so]' ||
    fail "the platform library is not recorded by its name"

# Where there is a cross build, its package asks for the versions of its sysroot.
if [ -e "$source/build/armhf/CPackConfig.cmake" ]; then
    depends=$(sed -n 's/^set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "\(.*\)")$/\1/p' "$source/build/armhf/CPackConfig.cmake")
    for library in libc6 libstdc++6 libczmq4 libavahi-client3; do
        [[ $depends == *"$library (>= "[0-9]* ]] || fail "$library of any version: $depends"
    done
    echo "armhf: $depends"
fi

"$here/scratch-systemd" "$packages"/*.deb avahi-daemon avahi-utils isc-dhcp-client logrotate procps -- \
    bash -c "$(cat "$0")" package_test inside
