# What Doxygen's Markdown doesn't know: links to headings, and backslashes in code.
s/\]\(#[a-z-]+\)/]/g
s/(\.md)#[a-z-]+\)/\1)/g
s/\\([:,])/\1/g
