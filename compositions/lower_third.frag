#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float time;
uniform float shown;
uniform vec4 plate;
uniform vec4 accent;
uniform sampler2D words;

// 1 inside the rectangle, soft over one pixel at its edges.
float inside(vec2 p, vec2 lower, vec2 upper) {
  vec2 d = max(lower - p, p - upper);
  return clamp(0.5 - max(d.x, d.y), 0.0, 1.0);
}

// Alpha is straight, in what goes in and in what comes out.
vec4 over(vec4 top, vec4 below) {
  float seen = below.a * (1.0 - top.a);
  float alpha = top.a + seen;
  return vec4(alpha > 0.0 ? (top.rgb * top.a + below.rgb * seen) / alpha : below.rgb, alpha);
}

// A bar grows, then a plate with the words comes out of it. A gleam runs over the plate now and then.
void main() {
  vec2 size = vec2(width, height);
  vec2 p = uv * size;
  float bar = smoothstep(0.0, 0.45, shown), open = smoothstep(0.35, 1.0, shown);
  vec2 lower = size * vec2(0.06, 0.09);
  float tall = size.y * 0.2, wide = size.x * 0.66, thick = size.y * 0.014;

  float along = (p.x - lower.x) / wide, up = (p.y - lower.y) / tall;
  float gleam = exp(-90.0 * pow(along + 0.25 * up - 3.0 * fract(time / 7.0) + 0.4, 2.0));
  float faded = 1.0 - smoothstep(0.6, 1.0, along);
  vec4 ground = vec4(plate.rgb * (0.75 + 0.5 * up) + 0.16 * gleam, plate.a * faded);
  float hidden = (1.0 - open) * 0.03;
  vec4 written = texture(words, uv + vec2(hidden, 0.0));

  float isPlate = inside(p, lower + vec2(thick, 0.0), lower + vec2(thick + wide * open, tall));
  float isBar = inside(p, lower, lower + vec2(thick, tall * bar));
  ground = over(vec4(written.rgb, written.a * open), ground);
  pixel = over(vec4(accent.rgb, accent.a * isBar), vec4(ground.rgb, ground.a * isPlate));
}
