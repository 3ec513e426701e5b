# The integer-keyed tables, the multi-maps and the hash table.
