tesk_fuzz(tta tta_fuzz.cpp tesk_input)
