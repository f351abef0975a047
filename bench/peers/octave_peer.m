% The side of GNU Octave in bench/compare: solves problems that arrive as files, and times itself.
%
% A request is a line "operation input output" on standard input; the answer is a line "ok seconds text" or
% "failed cause". child_process.hpp tells the form of the files.

1;

function matrices = read_matrices (name)
  file = fopen (name, "rb");
  count = fread (file, 1, "int64");
  matrices = cell (1, count);
  for k = 1:count
    sizes = fread (file, 2, "int64");
    matrices{k} = fread (file, sizes', "double");
  end
  fclose (file);
end

function write_matrices (name, matrices)
  file = fopen (name, "wb");
  fwrite (file, numel (matrices), "int64");
  for k = 1:numel (matrices)
    fwrite (file, size (matrices{k}), "int64");
    fwrite (file, matrices{k}, "double");
  end
  fclose (file);
end

function results = solve (operation, in)
  switch (operation)
    case "sylvester"
      results = {sylvester(in{1}, in{2}, -in{3})};
    case "continuous_lyapunov"
      results = {lyap(in{1}, in{2})};
    case "discrete_lyapunov"
      results = {dlyap(in{1}, in{2})};
    case "exponential"
      results = {expm(in{1})};
    case "logarithm"
      x = logm (in{1});
      results = {real(x), imag(x)};
    case "zero_order_hold"
      [a, b, c, d] = ssdata (c2d (ss (in{1:4}), in{5}, "zoh"));
      results = {a, b, c, d};
    case "zero_order_hold_back"
      [a, b, c, d] = ssdata (d2c (ss (in{1:4}, in{5}), "zoh"));
      results = {a, b, c, d};
    otherwise
      error ("no operation %s", operation);
  end
end

function text = blas_files ()
  % Special files have no size to read by.
  file = fopen ("/proc/self/maps");
  maps = fread (file, Inf, "char=>char")';
  fclose (file);
  names = unique (regexp (maps, '/\S*lib[a-z]*(?:blas|lapack)[^/\s]*\.so[^/\s]*', "match"));
  text = strjoin (names, " ");
end

function seconds = now_in_seconds (by_processor)
  if (by_processor)
    seconds = cputime ();
  else
    seconds = time ();
  end
end

pkg load control
warning ("off", "all");
crash_dumps_octave_core (false);
by_processor = strcmp (getenv ("OPENBLAS_NUM_THREADS"), "1");
while (ischar (line = fgetl (stdin)))
  if (isempty (strtrim (line)))
    continue;
  end
  words = strsplit (strtrim (line), " ");
  try
    if (strcmp (words{1}, "identify"))
      printf ("ok 0 Octave %s, control %s %s\n", version (), ver ("control").Version, blas_files ());
    else
      inputs = read_matrices (words{2});
      start = now_in_seconds (by_processor);
      results = solve (words{1}, inputs);
      seconds = now_in_seconds (by_processor) - start;
      write_matrices (words{3}, results);
      printf ("ok %.9g\n", seconds);
    end
  catch cause
    printf ("failed %s\n", strjoin (strsplit (cause.message), " "));
  end
  fflush (stdout);
end
