#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
# web/serve.sh [PORT]: serves the page on this machine, at port 8000 unless told otherwise. What is missing
# is built first. The page is in build/web/page then: static files, to be copied to any web server.
#   web/serve.sh --files   only makes these files
set -euo pipefail
cd "$(dirname "$0")/.."
. cmake/debian-packages.sh

port=${1:-8000}
case $port in
--files) ;;
'' | *[!0-9]*) echo "usage: web/serve.sh [PORT | --files]" >&2; exit 2 ;;
*) [ "$port" -le 65535 ] || { echo "web/serve.sh: a port is at most 65535" >&2; exit 2; } ;;
esac
package=build/web/package
page=build/web/page

[ -e "$package/quorvel-simd.wasm" ] || web/build.sh
rm -rf "$page"
mkdir -p "$page/module"
cp web/page/* "$page/"
cp "$package"/*.js "$package"/*.wasm "$page/module/"
[ "$port" = --files ] && exit 0

command -v python3 >/dev/null || need_packages python3
echo "The page: http://localhost:$port/  (Ctrl+C ends it)"
exec python3 -c '
import functools, http.server, sys
handler = http.server.SimpleHTTPRequestHandler
handler.extensions_map.update({".wasm": "application/wasm", ".js": "text/javascript"})
handler.log_message = lambda *_: None
serve = functools.partial(handler, directory=sys.argv[2])
try:
    http.server.ThreadingHTTPServer(("localhost", int(sys.argv[1])), serve).serve_forever()
except OSError as error:
    sys.exit(f"Port {sys.argv[1]}: {error.strerror}. Give another one: web/serve.sh PORT")
except KeyboardInterrupt:
    pass
' "$port" "$page"
