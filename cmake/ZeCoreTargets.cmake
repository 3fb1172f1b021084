# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later

# Language level, Qt hygiene and (where asked for) the maintainers' warnings,
# the same for the library, the examples and the tests. Nothing of this reaches
# the programs that link the library.
function(zecore_configure_target target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 17
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
    )
    target_compile_definitions(${target} PRIVATE
        QT_NO_KEYWORDS
        QT_DEPRECATED_WARNINGS
    )
    if(ZECORE_STRICT_WARNINGS)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    endif()
endfunction()
