# The blocked array, the block bit vector and the sets over it.
