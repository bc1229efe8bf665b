tesk_fuzz(poly_file poly_file_fuzz.cpp tesk_filter)
