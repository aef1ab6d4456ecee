# Sums callgrind's instruction counts of one library: awk -v library=NAME -f bench/instructions.awk CALLGRIND_FILE
# The manual of valgrind describes the file format in its chapter on the callgrind format.

# "ob=(3) /path" names object 3; "ob=(3)" alone refers to it.
function name(text, number) {
  match(text, /\([0-9]+\)/)
  number = substr(text, RSTART, RLENGTH)
  if (length(text) > RSTART + RLENGTH) names[number] = substr(text, RSTART + RLENGTH + 1)
  return names[number]
}

/^ob=/ { inside = index(name(substr($0, 4)), library) > 0; next }
/^cob=/ { name(substr($0, 5)); next }
# Skip the line after a call: it is the inclusive cost of the callee, which is also counted in the callee itself.
/^calls=/ { getline; next }
/^[0-9+*-]/ { if (inside) sum += $2 }
END { printf "%d\n", sum }
