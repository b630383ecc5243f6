#!/bin/sh
# Finder opens this file in Terminal. That is the program which macOS then asks about Bluetooth, and
# it has the text to ask with; some other terminals have not, and what they start is ended at once.
exec "$(dirname -- "$0")/bin/talvern-live"
