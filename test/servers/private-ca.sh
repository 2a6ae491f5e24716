#!/bin/sh
# Runs a command that trusts one more certificate authority than the system does, without changing the
# system: in a mount namespace of its own the given bundle lies over the system's.
#
#   private-ca.sh BUNDLE COMMAND [ARGUMENT...]
#
# HIDE_GOST=1 also hides the GOST engine from the command. Needs root.
set -eu
[ $# -ge 2 ] || { echo "usage: $0 BUNDLE COMMAND [ARGUMENT...]" >&2; exit 2; }
bundle=$(realpath "$1")
shift
if [ "${IN_PRIVATE_NAMESPACE:-}" != "$$" ]; then
  exec unshare --mount --propagation private -- sh -c 'IN_PRIVATE_NAMESPACE=$$ exec "$0" "$@"' \
    "$0" "$bundle" "$@"
fi
unset IN_PRIVATE_NAMESPACE
mount --bind "$bundle" /etc/ssl/certs/ca-certificates.crt
if [ "${HIDE_GOST:-}" = 1 ]; then
  gost=$(find /usr/lib -name gost.so -path '*/engines-3/*' | head -n 1)
  [ -z "$gost" ] || mount -t tmpfs none "$(dirname "$gost")"
fi
exec "$@"
