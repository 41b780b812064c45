"""What Qt PDF's engine draws otherwise than both others, and why; docs/command.md lists it, too."""

NOT_ISOLATED = "inside a group that is not isolated, nothing is blended with what lies below the group"
NO_APPEARANCE = "one that brings no appearance of its own is not drawn"

KNOWN_DIFFERENCES = {
    "group-multiply": NOT_ISOLATED,
    "group-of-one-level-multiply": NOT_ISOLATED,
    "highlight": "one that brings no appearance of its own gets straight ends instead of round ones",
    "jbig2-packed-as-fax": "a region of JBIG2 that is packed as faxes are is left white",
    "line": NO_APPEARANCE,
    "polygon": NO_APPEARANCE,
    "polyline": NO_APPEARANCE,
}
