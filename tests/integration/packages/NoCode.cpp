// A module needs a source to be linked from.
