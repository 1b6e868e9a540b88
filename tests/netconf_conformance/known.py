"""What is known not to hold, each with the reason. A check that is named here has to fail."""

KNOWN = {
    "RFC 6241 7.2 MUST continue-on-error goes on behind an element that is refused":
        "an edit is done as a whole or not at all, so this error-option is refused, "
        "operation-not-supported, rather than taken for another one",
    "RFC 6241 7.2 MUST an edit of the candidate is tested where nothing else is told":
        "rows that need each other could then not be made by one edit each, as clients do; the "
        "commit tests them, and so does test-option test-then-set",
    "RFC 6241 3 MUST references to blanks behind an operation are read":
        "libyang 2.1.30 takes a reference between elements for text; nobody is known to write one",
    "RFC 7950 9.2.1 MUST port takes '0x10'":
        "libyang 2.1.30 takes numbers of base 16 in models only: the value is refused",
    "RFC 7950 9.2.1 MUST port takes '010'":
        "libyang 2.1.30 takes numbers of base 8 in models only: the value is read as 10",
}
