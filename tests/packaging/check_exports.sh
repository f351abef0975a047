#!/usr/bin/env bash
# Usage: check_exports.sh NM READELF C++FILT LIBRARY STATIC_LIBRARY MAP
#        check_exports.sh --self-test MAP
# Fails if LIBRARY exports a symbol outside its interface, which is: the namespace QorMathLA, the global classes,
# the road for front ends, and the C functions that the version map names. Fails too if one of these C functions is not
# exported, or if something is marked QORMATH_API, which shows in the objects of STATIC_LIBRARY, and the map drops it.

set -euo pipefail

# cFunctions MAP: the C functions that the map names, one a line.
cFunctions() {
    sed -nE 's/^ +([A-Za-z][A-Za-z_0-9]*);$/\1/p' "$1"
}

# missing MAP: reads symbols from standard input, one a line, and prints the C functions that are not among them.
missing() {
    comm -23 <(cFunctions "$1" | sort -u) <(sort -u)
}

# check MAP: reads demangled symbols from standard input, one a line, and prints those that do not belong.
check() {
    awk -v c_functions="$(cFunctions "$1")" '
        BEGIN { count = split(c_functions, names, "\n"); for (i = 1; i <= count; ++i) isCFunction[names[i]] = 1 }
        { symbol = $0 }
        symbol ~ /^QORMATH_[0-9.]+$/ { next }          # the version itself
        symbol in isCFunction { next }
        {
            # Type information and tables belong to the class that they name; a template function shows its return
            # type first, so that its own name is the last qualified one before the argument list.
            sub(/^(typeinfo|typeinfo name|vtable) for /, "", symbol)
            if (symbol ~ /^(QorMathLA|LTIStateSpaceModel|LTIFIRModel|AbilityManager|QorMathControl)(::|$)/) next
            if (symbol ~ /^qormath::(reduce|unitFactors)\(/) next
            if (symbol ~ /^[A-Za-z_:<>, *&]+ QorMathLA::[A-Za-z_]+.*\(/) next
            print "does not belong to the interface: " $0
            failed = 1
        }
        END { exit failed }'
}

selfTest() {
    local symbol failures=0
    while read -r symbol; do
        check "$1" <<<"$symbol" || failures=1
    done <<'END'
QorMathLA::xmsg::xmsg(int, char const*)
typeinfo for QorMathLA::xmsg
QorMathLA::MatrixSoft<double> QorMathLA::operator*<double>(QorMathLA::Matrix<double> const&, double)
LTIFIRModel::ReadModel(char const*)
qormath::reduce(LTIFIRModel const&, qormath::ReduceOptions const&)
firClose
SVDAnalysis
API_GetNumberOfOutputMessages
QORMATH_0.1
END
    while read -r symbol; do
        if check "$1" <<<"$symbol" >/dev/null; then
            echo "self-test: not found: $symbol"
            failures=1
        fi
    done <<'END'
std::vector<double, std::allocator<double> >::_M_realloc_insert(double const&)
void std::vector<QorMathLA::Range, std::allocator<QorMathLA::Range> >::_M_realloc_insert<QorMathLA::Range>()
qormath::control_utility::split(int)
qormath::reduceFurther(int)
int qormath::models::parse<QorMathLA::Range>(QorMathLA::Range const&)
typeinfo for std::runtime_error
LTIStateSpaceModelHelper::run()
GetNextCaseLine
GetVector
AddOutputMessage
dgees_
END
    if [ -n "$(missing "$1" < <(cFunctions "$1"))" ]; then
        echo "self-test: C functions are missing where all are there"
        failures=1
    fi
    if [ "$(missing "$1" < <(cFunctions "$1" | grep -vx DMI_Parameter))" != DMI_Parameter ]; then
        echo "self-test: not found to be missing: DMI_Parameter"
        failures=1
    fi
    return $failures
}

if [ "$1" = --self-test ]; then
    selfTest "$2"
    exit
fi

nm=$1 readelf=$2 demangle=$3 library=$4 static_library=$5 map=$6

# Versions are cut off before the names are demangled; llvm-nm does not demangle a name with a version.
exported=$("$nm" -D --defined-only --format=posix "$library" | awk '{ sub(/@.*/, "", $1); print $1 }' | sort -u)
"$demangle" <<<"$exported" | check "$map"

absent=$(missing "$map" <<<"$exported")
if [ -n "$absent" ]; then
    echo "named in the version map, but not exported:"
    echo "$absent"
    exit 1
fi

marked=$("$readelf" -sW "$static_library" |
    awk '($5 == "GLOBAL" || $5 == "WEAK" || $5 == "UNIQUE") && $6 == "DEFAULT" && $7 != "UND" { print $8 }' |
    grep -vE '^_Z(T[ISV]|GV)?Z?(N[KVRO]*)?(S[tabsiod]|9__gnu_cxx)' | sort -u)
if [ -z "$marked" ]; then
    echo "nothing in $static_library is marked for export"
    exit 1
fi
dropped=$(comm -23 <(echo "$marked") <(echo "$exported") | "$demangle")
if [ -n "$dropped" ]; then
    echo "marked QORMATH_API, but not named in the version map:"
    echo "$dropped"
    exit 1
fi
