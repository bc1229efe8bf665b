tesk_fuzz(dsf_read dsf_read_fuzz.cpp tesk_reader)
tesk_fuzz(dff_read dff_read_fuzz.cpp tesk_reader)
