# Doxygen's filter for the guides: gives each heading below the title the label that other readers of Markdown give it,
# with the file's name before it, since Doxygen's labels are global; and sends links within the file there.

BEGIN {
    file = ARGV[1]
    sub(/.*\//, "", file)
    sub(/\.md$/, "", file)
}
/^```/ { inCode = !inCode }
!inCode && /^##+ / && !/\{#/ {
    label = tolower($0)
    sub(/^#+ +/, "", label)
    gsub(/[^a-z0-9 _-]/, "", label)
    gsub(/ /, "-", label)
    if (seen[label]++) {
        label = label "-" (seen[label] - 1)
    }
    $0 = $0 " {#" file "-" label "}"
}
!inCode { gsub(/\]\(#/, "](#" file "-") }
{ print }
