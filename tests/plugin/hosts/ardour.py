def run(bench, format_name, check):
    return ""
