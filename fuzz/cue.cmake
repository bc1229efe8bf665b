tesk_fuzz(cue cue_fuzz.cpp tesk_tags)
