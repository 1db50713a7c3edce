# Doxygen's filter for headers: the fixed words of a contract head a paragraph of their own.
s/^\( *\* \)\(Threads\|Errors\|Needs\): /\1@par \2\n\1/
