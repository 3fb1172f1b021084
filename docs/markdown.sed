# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Makes Doxygen see a guide's title first, and leads out of no installed page:
# links to files of the source tree become their text, links to a heading of
# another guide lead to that guide.
1,/^-->$/s/.*//
s/\[\([^]]*\)\](\.\.\/[^)]*)/\1/g
s/\(\.md\)#[^)]*)/\1)/g
s/\[`\([^`]*\)`\](/[\1](/g
