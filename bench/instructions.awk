# Adds up what callgrind counted inside one library: awk -v library=NAME -f bench/instructions.awk CALLGRIND_FILE
# The layout of the file is that of the chapter on the callgrind format in the manual of valgrind.

# "ob=(3) /path" gives the number of an object its name; "ob=(3)" alone refers to it.
function name(text, number) {
  match(text, /\([0-9]+\)/)
  number = substr(text, RSTART, RLENGTH)
  if (length(text) > RSTART + RLENGTH) names[number] = substr(text, RSTART + RLENGTH + 1)
  return names[number]
}

/^ob=/ { inside = index(name(substr($0, 4)), library) > 0; next }
/^cob=/ { name(substr($0, 5)); next }
# The line after a call counts what was called, which is counted where it stands.
/^calls=/ { getline; next }
/^[0-9+*-]/ { if (inside) sum += $2 }
END { printf "%d\n", sum }
