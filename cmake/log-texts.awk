# Prints the texts that these sources of the plug-in log, a row of C++ each: {COMPONENT, LEVEL, FORMAT},
# Fails when one of them is written in another way. "%s" alone is no text: LogTexts.cpp has what is logged with it.
FNR == 1 { print_texts() }
/ COMPONENT = "/ { component = $0; gsub(/^[^"]*|;.*/, "", component) }
{ source = source $0 "\n" }
END {
    print_texts()
    if (missed) {
        print "log-texts.awk: " missed " MRS_LOG not in the form MRS_LOG(LOG_LEVEL_..., \"...\"" > "/dev/stderr"
        exit 1
    }
}

function print_texts(    level, text) {
    missed += gsub(/MRS_LOG\(/, "&", source)
    while (match(source, /MRS_LOG\([ \n]*LOG_LEVEL_[A-Z]+,[ \n]*"([^"\\]|\\.)*"/)) {
        level = text = substr(source, RSTART, RLENGTH)
        source = substr(source, RSTART + RLENGTH)
        gsub(/^MRS_LOG\([ \n]*|,.*/, "", level)
        sub(/^[^"]*/, "", text)
        if (text != "\"%s\"") {
            print "{" component ", " level ", " text "},"
        }
        --missed
    }
    source = ""
}
