tesk_fuzz(tags tags_fuzz.cpp tesk_tags)
