#!/bin/sh
# A Kerberos realm with a key distribution centre on a free port of loopback, in a directory of its own, for as
# long as standard input is open. Prints "realm" and the directory, or why there is none. The arguments are
# principals, whose keys it writes to the file keytab.

umask 077
PATH=$PATH:/usr/sbin
dir=$(mktemp -d /tmp/zurealmXXXXXX) && cd "$dir" || exit 1
trap 'kill "$centre"; wait; rm -rf "$dir"' EXIT
trap '' INT TERM HUP
centre=
export KRB5_CONFIG="$dir/krb5.conf" KRB5_KDC_PROFILE="$dir/kdc.conf"
for port in $(shuf -i 20000-32000 -n 5); do
  cat >krb5.conf <<END
[libdefaults]
  default_realm = ZULIB.TEST
  dns_lookup_kdc = false
  dns_lookup_realm = false
  dns_canonicalize_hostname = false
  rdns = false
  udp_preference_limit = 1
[realms]
  ZULIB.TEST = {
    kdc = 127.0.0.1:$port
  }
END
  cat >kdc.conf <<END
[kdcdefaults]
  kdc_listen = 127.0.0.1:$port
  kdc_tcp_listen = 127.0.0.1:$port
[realms]
  ZULIB.TEST = {
    database_name = $dir/principals
    key_stash_file = $dir/stash
    acl_file = $dir/acl
    supported_enctypes = aes256-cts-hmac-sha1-96:normal
  }
END
  if [ ! -e keytab ]; then
    kdb5_util create -s -P master >>log 2>&1 </dev/null
    for principal in "$@"; do
      kadmin.local addprinc -randkey "$principal" >>log 2>&1 </dev/null
      kadmin.local ktadd -k keytab "$principal" >>log 2>&1 </dev/null
    done
  fi
  krb5kdc -n >>log 2>&1 </dev/null &
  centre=$!
  while kill -0 "$centre" 2>/dev/null; do
    if KRB5CCNAME="FILE:$dir/probe" kinit -k -t keytab "$1" >>log 2>&1; then
      rm -f probe
      echo "realm $dir"
      exec >/dev/null 2>&1
      read -r _
      exit
    fi
    sleep 0.05
  done
done
cat log
