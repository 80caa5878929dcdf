# Sourced by the checks: what they look at.

# checked_files PATTERN...: the project's files that match, from the root, one a line: those of git where this is a clone (new
# ones too, ignored ones not), else all but build folders.
checked_files() {
    if git rev-parse --is-inside-work-tree > /dev/null 2>&1; then
        git ls-files --cached --others --exclude-standard -- "$@" | while IFS= read -r file; do
            [[ -f $file ]] && printf '%s\n' "$file"
        done | sort -u
    else
        local pattern
        for pattern in "$@"; do
            find . \( -path ./build -o -path ./.git \) -prune -o -type f -path "./$pattern" -print
        done | sed 's|^\./||' | sort -u
    fi
}

# The C++ files of all rooms.
cpp_files() { checked_files '*.h' '*.cpp'; }
